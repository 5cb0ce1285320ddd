#pragma once

#include "netweft/river/internal/IndexLifecycle.h"
#include "tests/http/LibraryFixture.h"
#include "tests/river/FakeElasticsearch.h"
#include "tests/support/LogCapture.h"

namespace qx::couch::test {

using qx::test::CapturedLine;
using qx::test::Detail;
using qx::test::Error;
using qx::test::Warning;

/// One database "db" with one index "things", and a server where it is to stand.
class IndexLifecycleFixture : public qx::test::LibraryFixture {
 protected:
  static constexpr uint64 sNone = std::numeric_limits<uint64>::max();

  IndexLifecycleFixture() {
    mParameters.es = mEs.getServer();
    mEntry.dbName = "db";
    IndexDefinition& definition = addIndex("things");
    definition.mapping = FromJson(R"({"dynamic":false,"properties":{"title":{"type":"text"}}})");
    definition.settings = FromJson(R"({"index":{"number_of_shards":1}})");
    definition.applicationVersion = "7";
    definition.mappingRevision = "rev-a";
  }

  IndexDefinition& addIndex(const string& name) {
    IndexEntry& entry = mEntry.indexes[name];
    entry.definition.dbName = "db";
    entry.definition.indexName = name;
    return entry.definition;
  }

  IndexEntry& entry(const string& name = "things") { return mEntry.indexes.at(name); }
  IndexDefinition& definition() { return entry().definition; }

  bool ensure(const bool* cancelFlag = nullptr) {
    mDescriptors.clear();
    return ensureIndexes(mConnection, mEntry, mParameters, &mStartSeq, mDescriptors, cancelFlag);
  }

  /// Brings the index into being and forgets how.
  void create() {
    ASSERT_TRUE(ensure());
    mEs.takeRequests();
    mLog.clear();
  }

  /// The same, with a sequence that a Worker has stored.
  void createAt(uint64 seq) {
    create();
    mEs.setMeta("things", "lastrefreshseq", seq);
  }

  string meta(const string& key, const string& name = "things") const {
    return mEs.getIndex(name).mapping.findValuePath("_meta/" + key, '/')->toString();
  }
  string uuid(const string& name = "things") const { return mEs.getIndex(name).uuid; }
  string lastError() const { return mConnection.getLastErrorMsg(); }

  /// The requests that an opening of one index sends when it builds it anew, behind those that looked at it.
  static vector<string> recreationOf(const string& name) {
    return {"DELETE /" + name,
            "HEAD /" + name,
            "PUT /" + name,
            "GET /" + name + "/_settings",
            "PUT /" + name + "/_doc/_mapping",
            "GET /" + name + "/_mapping"};
  }
  static vector<string> inspectionAndRecreation() {
    vector<string> all = {"GET /things/_mapping", "GET /things/_settings"};
    for (const string& request : recreationOf("things")) all.push_back(request);
    return all;
  }

  qx::test::LogCapture mLog;
  FakeElasticsearch mEs;
  http::HttpConnection mConnection{true};
  RiverParameters mParameters;
  DbEntry mEntry;
  uint64 mStartSeq = 0;
  map<string, string> mDescriptors;
};

}  // namespace qx::couch::test
