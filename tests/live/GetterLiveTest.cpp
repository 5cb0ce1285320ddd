#include "tests/live/GetterLiveTest.h"

#include "tests/live/MixedDocuments.h"

namespace qx::test {

const vector<string>& GetterLiveTest::mixedIds() {
  static const vector<string> sIds = [] {
    createDatabase(sMixedDb);
    MixedDocuments documents(7);
    for (uint64 first = 0; first < LoadSize(); first += 500) bulkDocs(sMixedDb, documents.makeMany(first, 500));
    vector<string> ids;
    for (uint64 number = 0; number < LoadSize(); ++number) ids.push_back(MixedDocuments::id(number));
    return ids;
  }();
  return sIds;
}

map<string, string> GetterLiveTest::makeJobs(const string& stem, uint64 count, uint64 types) {
  map<string, string> jobs;
  for (uint64 i = 0; i < count; ++i) jobs[stem + std::to_string(i)] = "type" + std::to_string(i % types);
  return jobs;
}

const map<string, string>& GetterLiveTest::indexedJobs() {
  static const map<string, string> sJobs = [] {
    map<string, string> jobs = makeJobs("indexed", LoadSize(), 7);
    writeIndex("indexed", jobs);
    return jobs;
  }();
  return sJobs;
}

void GetterLiveTest::writeIndex(const string& index, const map<string, string>& idToType, const string& fieldType) {
  const string url = es().getUrl() + "/" + index;
  const string field = R"({"type":")" + fieldType + "\"}";
  ASSERT_EQ(request("PUT", url,
                    R"({"mappings":{"_doc":{"dynamic":false,"properties":{"id":)" + field + R"(,"type":)" + field +
                        R"(}}},"settings":{"number_of_shards":1,"number_of_replicas":0}})"),
            200U);
  string body;
  const auto send = [&] {
    ASSERT_EQ(request("POST", url + "/_doc/_bulk", body), 200U);
    body.clear();
  };
  for (const auto& [id, type] : idToType) {
    body += R"({"index":{"_id":")" + id + "\"}}\n";
    body += R"({"id":")" + id + R"(","type":")" + type + "\",\"n\":1}\n";
    if (body.size() > 1'000'000) send();
  }
  if (!body.empty()) send();
  ASSERT_EQ(request("POST", url + "/_refresh", ""), 200U);
}

}  // namespace qx::test
