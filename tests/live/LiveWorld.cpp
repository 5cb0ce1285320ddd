#include "tests/live/LiveWorld.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/internal/Clock.h"
#include "netweft/base/system/qxTimer.h"
#include "netweft/frame/Netweft.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/HttpHelpers.h"

#include <atomic>
#include <cstdlib>
#include <iostream>

namespace qx::test {

using http::HttpHelpers;

namespace {

constexpr int32 sPatienceSec = 60;
constexpr unsigned long sLookMs = 50;
/// How far the library's clock runs ahead in each look: a minute passes in about half a second.
constexpr int64 sAdvanceMs = 6'000;

qxVariantMapImpl ParseMap(const string& text) {
  qxVariantMapImpl map;
  if (!json::Json2Variant::Convert(text.data(), text.size(), map)) map.clear();
  return map;
}

string Quoted(const string& url) { return Url::UrlEncodeFromUtf8String(url); }

}  // namespace

unique_ptr<LiveServer> LiveWorld::sCouch;
unique_ptr<LiveServer> LiveWorld::sEs;

void LiveWorld::SetUpTestSuite() {
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
  sCouch = std::make_unique<LiveServer>("couchdb", true);
  sEs = std::make_unique<LiveServer>("elasticsearch", true);
}

void LiveWorld::TearDownTestSuite() {
  sCouch.reset();
  sEs.reset();
  terminateNetweft();
}

void LiveWorld::SetUp() {
  if (!sCouch->isRunning() || !sEs->isRunning()) GTEST_SKIP() << "a live server cannot be had on this machine";
}

void LiveWorld::TearDown() {}

string LiveWorld::freshName(const string& stem) {
  static std::atomic<int> sNumber{0};
  return stem + "-" + std::to_string(++sNumber);
}

couch::CouchToEsRiverManager::Parameters LiveWorld::parameters() {
  couch::CouchToEsRiverManager::Parameters parameters;
  parameters.couch = Url(couch().getUrl());
  parameters.es = Url(es().getUrl());
  return parameters;
}

couch::IndexDefinition LiveWorld::definition(const string& dbName, const string& indexName) {
  couch::IndexDefinition definition;
  definition.dbName = dbName;
  definition.indexName = indexName;
  definition.mapping["dynamic"] = false;
  definition.settings["index.number_of_shards"] = 1;
  definition.settings["index.number_of_replicas"] = 0;
  return definition;
}

void LiveWorld::createDatabase(const string& dbName) {
  ASSERT_EQ(request("PUT", couch().getUrl() + "/" + Quoted(dbName), ""), 201U);
}

qxVariantListImpl LiveWorld::bulkDocs(const string& dbName, const string& documents, bool newEdits) {
  string reply;
  const string body = string("{\"new_edits\":") + (newEdits ? "true" : "false") + ",\"docs\":" + documents + "}";
  const uint32 status = request("POST", couch().getUrl() + "/" + Quoted(dbName) + "/_bulk_docs", body, &reply);
  EXPECT_EQ(status, 201U) << reply;
  qxVariantListImpl rows;
  json::Json2Variant::Convert(reply.data(), reply.size(), rows);
  return rows;
}

string LiveWorld::revisionOf(const string& dbName, const string& id) {
  string reply;
  if (request("GET", couch().getUrl() + "/" + Quoted(dbName) + "/" + Quoted(id), "", &reply) != 200) return {};
  return ParseMap(reply).getString("_rev", "");
}

bool LiveWorld::remove(const string& dbName, const string& id) {
  const string url = couch().getUrl() + "/" + Quoted(dbName) + "/" + Quoted(id) + "?rev=" + revisionOf(dbName, id);
  return request("DELETE", url, "") == 200;
}

void LiveWorld::disturbOne(const string& dbName, MixedDocuments& documents, uint64 count) {
  const uint64 number = documents.below(count);
  const string rev = revisionOf(dbName, MixedDocuments::id(number));
  if (rev.empty()) {
    bulkDocs(dbName, "[" + documents.make(number) + "]");
  } else if (documents.below(3) == 0) {
    bulkDocs(dbName,
             "[{\"_id\":\"" + MixedDocuments::escapedId(number) + "\",\"_rev\":\"" + rev + "\",\"_deleted\":true}]");
  } else {
    bulkDocs(dbName, "[" + documents.make(number, ",\"_rev\":\"" + rev + "\"") + "]");
  }
}

uint64 LiveWorld::updateSeq(const string& dbName) {
  string reply;
  request("GET", couch().getUrl() + "/" + Quoted(dbName), "", &reply);
  return static_cast<uint64>(ParseMap(reply).getInteger("update_seq", 0));
}

uint64 LiveWorld::countIn(const string& indexName) {
  string reply;
  request("POST", es().getUrl() + "/" + indexName + "/_refresh", "");
  request("GET", es().getUrl() + "/" + indexName + "/_count", "", &reply);
  return static_cast<uint64>(ParseMap(reply).getInteger("count", 0));
}

uint32 LiveWorld::request(const string& verb, const string& url, const string& body, string* reply) {
  http::HttpConnection connection(false);
  // On a busy machine a server may be without a turn for longer than the default allows.
  connection.editConnectionParameters().lowSpeedTimeSec = sPatienceSec;
  string content;
  HttpHelpers::HttpResult result;
  result.content = &content;
  const Url target(url);
  if (verb == "GET") HttpHelpers::HttpGet(connection, target, &result);
  if (verb == "PUT") HttpHelpers::HttpPutJson(connection, target, body.data(), body.size(), 0, &result);
  if (verb == "POST") HttpHelpers::HttpPostJson(connection, target, body.data(), body.size(), 0, &result);
  if (verb == "DELETE") HttpHelpers::HttpDelete(connection, target, &result);
  if (reply != nullptr) *reply = content;
  return result.httpReturnCode;
}

bool LiveWorld::waitFor(const std::function<bool()>& condition, int timeoutSec) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSec);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    qxThread::msleep(sLookMs);
    impl::AdvanceClock(sAdvanceMs);
  }
  return true;
}

bool LiveWorld::waitInSync(couch::CouchToEsRiverManager& river, const string& dbName, const vector<string>& indexNames,
                           int timeoutSec) {
  const uint64 wanted = updateSeq(dbName);
  return waitFor(
      [&] {
        for (const string& indexName : indexNames) {
          uint64 reached = 0;
          string descriptor;
          river.getIndexInfo(indexName, nullptr, &reached, &descriptor);
          if (descriptor.empty() || reached < wanted) return false;
        }
        return true;
      },
      timeoutSec);
}

bool LiveWorld::isSame(const string& dbName, const string& indexName, const vector<string>& options) {
  request("POST", es().getUrl() + "/" + indexName + "/_refresh", "");
  return compare("servers/compare.mjs", dbName, indexName, options);
}

bool LiveWorld::holdsWhatItSays(const string& dbName, const string& indexName) {
  return compare("tests/live/stored-sequence.mjs", dbName, indexName, {});
}

bool LiveWorld::compare(const string& program, const string& dbName, const string& indexName,
                        const vector<string>& options) {
  vector<string> command = {"node", NETWEFT_SOURCE_DIR "/" + program, couch().getUrl() + "/" + Quoted(dbName),
                            es().getUrl() + "/" + indexName};
  command.insert(command.end(), options.begin(), options.end());
  ChildProcess comparison(command);
  string printed;
  for (string line; comparison.readLine(line, 300'000);) printed += line + "\n";
  const bool same = comparison.wait(10'000) == 0;
  if (!same) std::cout << printed << std::flush;
  return same;
}

bool LiveWorld::becomesSame(const string& dbName, const string& indexName, const vector<string>& options,
                            int timeoutSec) {
  return waitFor([&] { return isSame(dbName, indexName, options); }, timeoutSec);
}

unsigned ChaosSeed() {
  const char* given = std::getenv("NETWEFT_CHAOS_SEED");
  const unsigned seed = given != nullptr ? static_cast<unsigned>(std::atoll(given)) : std::random_device()();
  std::cout << "NETWEFT_CHAOS_SEED=" << seed << std::endl;
  return seed;
}

uint64 NumberFromEnvironment(const char* name, uint64 otherwise) {
  const char* given = std::getenv(name);
  return given != nullptr ? static_cast<uint64>(std::atoll(given)) : otherwise;
}

uint64 LoadSize() {
#if defined(NETWEFT_SANITIZED)
  return 3'000;
#else
  return 20'000;
#endif
}

}  // namespace qx::test
