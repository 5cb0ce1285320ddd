#include "benchmarks/river/StubCouch.h"

#include <cstdlib>
#include <sstream>

namespace qx::bench {

namespace {

constexpr const char* sRevision = "1-967a00dff5e02add41819138abb3284d";
constexpr uint64 sDocumentBytes = 1024;

string DocumentOf(const string& id) {
  string text = R"({"_id":")" + id + R"(","_rev":")" + sRevision + R"(","title":"A title","count":17,"price":12.5,)" +
                R"("tags":["one","two","three"],"nested":{"a":1,"b":{"c":true}},"text":")";
  text.append(sDocumentBytes - text.size() - 2, 'x');
  return text + "\"}";
}

uint64 NumberBehind(const string& text, const string& what) {
  const size_t at = text.find(what);
  return at == string::npos ? 0 : std::strtoull(text.c_str() + at + what.size(), nullptr, 10);
}

}  // namespace

StubCouch::StubCouch(uint64 documents)
    : mDocuments(documents), mServer([this](const string& head, const string&) { return answer(head); }) {}

string StubCouch::IdOf(uint64 number) {
  const string digits = std::to_string(number);
  return "article-" + string(9 - digits.size(), '0') + digits;
}

string StubCouch::answer(const string& head) const {
  const string target = head.substr(4, head.find(' ', 4) - 4);
  const size_t slash = target.find('/', 1);
  if (slash == string::npos) return ComposeAnswer(200, "{\"update_seq\":" + std::to_string(mDocuments) + "}");
  const string id = target.substr(slash + 1);
  if (id.starts_with("_changes")) return feedSince(NumberBehind(target, "since="));
  return ComposeAnswer(200, DocumentOf(id) + "\n", string("ETag: \"") + sRevision + "\"\r\n");
}

/// One chunk, and no last one: so the feed stays open.
string StubCouch::feedSince(uint64 since) const {
  string lines;
  for (uint64 number = since + 1; number <= mDocuments; ++number) {
    lines += "{\"seq\":" + std::to_string(number) + R"(,"id":")" + IdOf(number) + R"(","changes":[{"rev":")" +
             sRevision + "\"}]}\n";
  }
  if (lines.empty()) lines = "\n";
  std::ostringstream size;
  size << std::hex << lines.size();
  return "HTTP/1.1 200 Fine\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n" + size.str() +
         "\r\n" + lines + "\r\n";
}

}  // namespace qx::bench
