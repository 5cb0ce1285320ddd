#include "netweft/base/json/Json2Variant.h"
#include "netweft/http/HttpConnection.h"
#include "tests/live/LiveWorld.h"
#include "tests/live/MixedDocuments.h"
#include "tests/support/LogCapture.h"

#include <iostream>

namespace qx::test {
namespace {

using couch::CouchToEsRiverManager;

constexpr uint64 sDocuments = 1'000;

class RiverFailureTest : public LiveWorld {
 protected:
  void SetUp() override {
    LiveWorld::SetUp();
    if (IsSkipped()) return;
    mDb = freshName("failure");
    createDatabase(mDb);
    write(0, sDocuments);
  }

  void write(uint64 first, uint64 count) {
    MixedDocuments documents(static_cast<unsigned>(first));
    bulkDocs(mDb, documents.makeMany(first, count));
  }

  static CouchToEsRiverManager::Parameters smallBatches() {
    CouchToEsRiverManager::Parameters given = parameters();
    given.maxDocsPerBatch = 50;
    given.refreshPeriodSec = 1;
    return given;
  }

  /// What the library said, for a failed test.
  void TearDown() override {
    if (!HasFailure()) return;
    for (const CapturedLine& line : mLog.getLines()) std::cout << line << "\n";
  }

  string meta(const string& indexName, const string& name) {
    string reply;
    request("GET", es().getUrl() + "/" + indexName + "/_mapping", "", &reply);
    qxVariantMapImpl map;
    json::Json2Variant::Convert(reply.data(), reply.size(), map);
    const qxVariant* found = map.findValuePath(indexName + "/mappings/_doc/_meta/" + name, '/');
    return found == nullptr ? string() : found->toString();
  }

  LogCapture mLog;
  string mDb;
};

TEST_F(RiverFailureTest, ElasticsearchIsKilledInMidLoadAndComesBack) {
  const string index = freshName("es-killed");
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(definition(mDb, index));
  ASSERT_TRUE(waitFor([&] { return countIn(index) > 100; }));
  es().kill();
  write(sDocuments, 200);
  es().restart();
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  EXPECT_TRUE(becomesSame(mDb, index));
}

TEST_F(RiverFailureTest, CouchDbIsKilledInMidLoadAndComesBack) {
  const string index = freshName("couch-killed");
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(definition(mDb, index));
  ASSERT_TRUE(waitFor([&] { return countIn(index) > 100; }));
  couch().kill();
  couch().restart();
  write(sDocuments, 200);
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  EXPECT_TRUE(becomesSame(mDb, index));
}

TEST_F(RiverFailureTest, TheFirstIndexDeletedByHandIsBuiltAnew) {
  const string index = freshName("a-deleted");
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(definition(mDb, index));
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  const string before = meta(index, "creationdescriptor");
  ASSERT_EQ(request("DELETE", es().getUrl() + "/" + index, ""), 200U);
  ASSERT_TRUE(waitFor([&] { return !meta(index, "creationdescriptor").empty(); }));
  EXPECT_NE(meta(index, "creationdescriptor"), before);
  EXPECT_TRUE(becomesSame(mDb, index));
  EXPECT_TRUE(mLog.contains(LT_Warning, "Index " + index + " is missing !"));
}

TEST_F(RiverFailureTest, AnotherIndexDeletedWhileChangesFlowIsBuiltAnew) {
  const string first = freshName("a-first");
  const string second = freshName("b-second");
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(definition(mDb, first));
  river.addIndex(definition(mDb, second));
  ASSERT_TRUE(waitInSync(river, mDb, {first, second}));
  ASSERT_EQ(request("DELETE", es().getUrl() + "/" + second, ""), 200U);
  uint64 next = sDocuments;
  // The bulk request re-creates it without its description; the refresh notices.
  ASSERT_TRUE(waitFor([&] {
    write(next, 10);
    next += 10;
    return mLog.contains(LT_Error, "Index " + second + " is not the one that was created for the river any more");
  }));
  ASSERT_TRUE(waitInSync(river, mDb, {first, second}));
  EXPECT_TRUE(becomesSame(mDb, first));
  EXPECT_TRUE(becomesSame(mDb, second, {"--times", "2"}));
  EXPECT_NE(meta(second, "creationdescriptor"), "");
}

TEST_F(RiverFailureTest, AClosedIndexIsCaughtUpOnceItIsOpenAgain) {
  const string index = freshName("closed");
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(definition(mDb, index));
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  ASSERT_EQ(request("POST", es().getUrl() + "/" + index + "/_close", ""), 200U);
  write(sDocuments, 20);
  ASSERT_TRUE(waitFor([&] { return mLog.contains(LT_Error, "index_closed_exception"); }));
  ASSERT_EQ(request("POST", es().getUrl() + "/" + index + "/_open", ""), 200U);
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  EXPECT_TRUE(becomesSame(mDb, index));
}

TEST_F(RiverFailureTest, AWidenedMappingIsUpdatedInPlaceAndTheDatabaseFedAgain) {
  const string index = freshName("widened");
  couch::IndexDefinition wanted = definition(mDb, index);
  wanted.mapping.editValuePath("properties/n/type", "long", '/');
  string before;
  {
    CouchToEsRiverManager river(smallBatches());
    river.addIndex(wanted);
    ASSERT_TRUE(waitInSync(river, mDb, {index}));
    before = meta(index, "creationdescriptor");
  }
  wanted.mapping.editValuePath("properties/kind/type", "long", '/');
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(wanted);
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  EXPECT_EQ(meta(index, "creationdescriptor"), before);
  EXPECT_TRUE(becomesSame(mDb, index));
  string reply;
  request("POST", es().getUrl() + "/" + index + "/_count", R"({"query":{"range":{"kind":{"gte":0}}}})", &reply);
  qxVariantMapImpl counted;
  json::Json2Variant::Convert(reply.data(), reply.size(), counted);
  EXPECT_EQ(counted.getInteger("count", 0), static_cast<int64>(sDocuments)) << "the new field was filled";
}

TEST_F(RiverFailureTest, AnIncompatibleMappingRecreatesTheIndex) {
  const string index = freshName("incompatible");
  couch::IndexDefinition wanted = definition(mDb, index);
  wanted.mapping.editValuePath("properties/n/type", "long", '/');
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(wanted);
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  const string before = meta(index, "creationdescriptor");
  wanted.mapping.editValuePath("properties/n/type", "long", '/') = "keyword";
  river.addIndex(wanted);
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  ASSERT_TRUE(waitFor([&] { return meta(index, "creationdescriptor") != before; }));
  EXPECT_TRUE(becomesSame(mDb, index));
}

TEST_F(RiverFailureTest, ChangedSettingsRecreateTheIndex) {
  const string index = freshName("settings");
  couch::IndexDefinition wanted = definition(mDb, index);
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(wanted);
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  const string before = meta(index, "creationdescriptor");
  wanted.settings["index.refresh_interval"] = "5s";
  river.addIndex(wanted);
  ASSERT_TRUE(waitFor([&] { return meta(index, "creationdescriptor") != before; }));
  EXPECT_TRUE(becomesSame(mDb, index));
}

TEST_F(RiverFailureTest, AnIndexRemovedInMidLoadStaysAsItIs) {
  const string kept = freshName("a-kept");
  const string removed = freshName("b-removed");
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(definition(mDb, kept));
  river.addIndex(definition(mDb, removed));
  ASSERT_TRUE(waitFor([&] { return countIn(removed) > 100; }));
  EXPECT_TRUE(river.removeIndex(removed, false));
  const uint64 count = countIn(removed);
  ASSERT_TRUE(waitInSync(river, mDb, {kept}));
  EXPECT_TRUE(becomesSame(mDb, kept));
  EXPECT_EQ(countIn(removed), count);
}

TEST_F(RiverFailureTest, AnIndexRemovedWithDeletionInMidLoadDoesNotComeBack) {
  const string kept = freshName("a-kept");
  const string dropped = freshName("b-dropped");
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(definition(mDb, dropped));
  river.addIndex(definition(mDb, kept));
  ASSERT_TRUE(waitFor([&] { return countIn(dropped) > 100; }));
  EXPECT_TRUE(river.removeIndex(dropped, true));
  ASSERT_TRUE(waitInSync(river, mDb, {kept}));
  EXPECT_TRUE(becomesSame(mDb, kept));
  EXPECT_EQ(request("GET", es().getUrl() + "/" + dropped, ""), 404U);
}

TEST_F(RiverFailureTest, AnIndexNameThatElasticsearchRefusesIsToldInTheLog) {
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(definition(mDb, "UpperCase"));
  EXPECT_TRUE(waitFor([&] { return mLog.contains(LT_Error, "Fail to create index "); }));
  EXPECT_TRUE(mLog.contains(LT_Error, "invalid_index_name_exception"));
  EXPECT_TRUE(mLog.contains(LT_Error, "Fail to create/update index " + mDb));
}

TEST_F(RiverFailureTest, TheIndexListTellsWhichIndexBelongsToWhichDatabase) {
  const string index = freshName("listed");
  CouchToEsRiverManager river(smallBatches());
  river.addIndex(definition(mDb, index));
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  http::HttpConnection connection(false);
  map<string, list<string>> indexes;
  ASSERT_TRUE(CouchToEsRiverManager::GetIndexList(connection, parameters().es, indexes));
  EXPECT_EQ(indexes[mDb], list<string>{index});
}

}  // namespace
}  // namespace qx::test
