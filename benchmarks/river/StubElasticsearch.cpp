#include "benchmarks/river/StubElasticsearch.h"

namespace qx::bench {

namespace {

constexpr const char* sAcknowledged = R"({"acknowledged":true})";

string Missing() { return ComposeAnswer(404, R"({"error":{"type":"index_not_found_exception"},"status":404})"); }

string Wrap(const string& name, const string& inner) { return ComposeAnswer(200, "{\"" + name + "\":" + inner + "}"); }

/// A HEAD has the head of the answer to a GET alone.
string CutBody(string answer) { return answer.erase(answer.find("\r\n\r\n") + 4); }

}  // namespace

StubElasticsearch::StubElasticsearch()
    : mServer([this](const string& head, const string& body) { return answer(head, body); }) {}

string StubElasticsearch::answer(const string& head, const string& body) {
  const string method = head.substr(0, head.find(' '));
  const size_t from = method.size() + 2;
  const string target = head.substr(from, head.find(' ', from) - from);
  const string name = target.substr(0, target.find('/'));
  const string operation = target.substr(target.rfind('/') + 1);
  if (operation == "_bulk") return ComposeAnswer(200, R"({"took":1,"errors":false,"items":[]})");
  if (name == "_cluster") return ComposeAnswer(200, R"({"status":"green"})");

  const std::lock_guard lock(mMutex);
  if (operation == name) {
    const string whole = answerIndex(method, name, body);
    return method == "HEAD" ? CutBody(whole) : whole;
  }
  if (!mMappings.contains(name)) return Missing();
  if (operation == "_refresh") return ComposeAnswer(200, R"({"_shards":{"total":1,"successful":1,"failed":0}})");
  if (operation == "_settings") {
    return Wrap(name, R"({"settings":{"index":{"creation_date":"1700000000000","uuid":"an-uuid"}}})");
  }
  return answerMapping(method, name, body);
}

string StubElasticsearch::answerIndex(const string& method, const string& name, const string& mapping) {
  if (method != "PUT" && !mMappings.contains(name)) return Missing();
  if (method == "PUT") mMappings[name] = mapping;
  if (method == "DELETE") mMappings.erase(name);
  return ComposeAnswer(200, sAcknowledged);
}

string StubElasticsearch::answerMapping(const string& method, const string& name, const string& mapping) {
  if (method == "GET") return Wrap(name, "{\"mappings\":{\"_doc\":" + mMappings[name] + "}}");
  mMappings[name] = mapping;
  return ComposeAnswer(200, sAcknowledged);
}

}  // namespace qx::bench
