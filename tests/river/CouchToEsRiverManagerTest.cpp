#include "netweft/http/HttpConnection.h"
#include "tests/river/RiverWorld.h"

#include <atomic>
#include <future>
#include <thread>

namespace qx::couch::test {

namespace {

class CouchToEsRiverManagerTest : public RiverWorld {
 protected:
  using Indexes = map<string, list<string>>;

  static bool IsOneAfterTheOther(FakeCouch& couch, const Gate& first, const Gate& second) {
    if (!Until([&] { return couch.count("GET /a/one") + couch.count("GET /b/one") >= 1; })) return false;
    const bool firstArrived = couch.count("GET /a/one") == 1;
    const Gate& early = firstArrived ? first : second;
    const Gate& late = firstArrived ? second : first;
    if (late.waitForArrivals(1, std::chrono::milliseconds(300))) return false;
    early.open();
    return late.waitForArrivals(1);
  }
};

/// Worker counts that act as one.
class OneWorkerTest : public CouchToEsRiverManagerTest, public testing::WithParamInterface<int32> {};

}  // namespace

TEST_F(CouchToEsRiverManagerTest, ConstructionReachesNoServer) {
  start();
  stop();
  EXPECT_EQ(mCouch.getScript().getAcceptedConnections(), 0u);
  EXPECT_EQ(mEs.getScript().getAcceptedConnections(), 0u);
}

TEST_P(OneWorkerTest, ServesDatabasesOneAfterTheOther) {
  mParameters.workerCount = GetParam();
  start();
  open("a", "a");
  open("b", "b");
  const Gate first = mCouch.hold("GET /a/one");
  const Gate second = mCouch.hold("GET /b/one");
  mCouch.put("a", "one");
  mCouch.put("b", "one");
  ASSERT_TRUE(untilSeen("a", "one") && untilSeen("b", "one"));
  awaitPasses();
  EXPECT_TRUE(IsOneAfterTheOther(mCouch, first, second));
  first.open();
  second.open();
  EXPECT_TRUE(untilDocument("a", "one") && untilDocument("b", "one"));
}

INSTANTIATE_TEST_SUITE_P(WorkerCounts, OneWorkerTest, testing::Values(0, -3, 1));

TEST_F(CouchToEsRiverManagerTest, TwoWorkersServeTwoDatabasesAtTheSameTime) {
  start();
  open("a", "a");
  open("b", "b");
  const Gate first = mCouch.hold("GET /a/one");
  const Gate second = mCouch.hold("GET /b/one");
  mCouch.put("a", "one");
  mCouch.put("b", "one");
  EXPECT_TRUE(first.waitForArrivals(1));
  EXPECT_TRUE(second.waitForArrivals(1));
}

TEST_F(CouchToEsRiverManagerTest, AddingAnIndexAgainReplacesItsDefinitionAndOpensTheFeedAnew) {
  start();
  open("a", "things");
  mCouch.put("a", "one");
  ASSERT_TRUE(untilAt("things", 1));

  holdControl();
  addIndex("a", "things", "2");
  string revision;
  uint64 seq = 7;
  ASSERT_TRUE(mRiver->getIndexInfo("things", &revision, &seq, nullptr));
  EXPECT_EQ(revision, "rev-2");
  EXPECT_EQ(seq, 0u);
  letControlGo();
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_TRUE(untilDocument("things", "one"));
  EXPECT_EQ(meta("things", "applicationversion"), "2");
}

TEST_F(CouchToEsRiverManagerTest, AnIndexIsKnownWithItsDescriptorOnceItWasOpened) {
  start();
  open("a", "things");
  string descriptor;
  // The lock is held until the feed stands.
  ASSERT_TRUE(mRiver->getIndexInfo("things", nullptr, nullptr, &descriptor));
  EXPECT_EQ(descriptor, meta("things", "creationdescriptor"));
  EXPECT_FALSE(descriptor.empty());
}

TEST_F(CouchToEsRiverManagerTest, OneNameUnderTwoDatabasesMeansThatOfTheFirst) {
  start();
  holdControl();  // two databases that fight for one index are not opened here
  addIndex("b", "things", "of-b");
  addIndex("a", "things", "of-a");
  string revision;
  ASSERT_TRUE(mRiver->getIndexInfo("things", &revision, nullptr, nullptr));
  EXPECT_EQ(revision, "rev-of-a");
  EXPECT_TRUE(mRiver->removeIndex("things", false));
  ASSERT_TRUE(mRiver->getIndexInfo("things", &revision, nullptr, nullptr));
  EXPECT_EQ(revision, "rev-of-b");
  EXPECT_TRUE(mRiver->removeIndex("things", false));
  EXPECT_FALSE(mRiver->getIndexInfo("things", &revision, nullptr, nullptr));
}

TEST_F(CouchToEsRiverManagerTest, AnUnknownIndexLeavesTheOutputsAlone) {
  start();
  string revision = "r";
  uint64 seq = 7;
  string descriptor = "d";
  EXPECT_FALSE(mRiver->getIndexInfo("things", &revision, &seq, &descriptor));
  EXPECT_EQ(revision, "r");
  EXPECT_EQ(seq, 7u);
  EXPECT_EQ(descriptor, "d");
}

TEST_F(CouchToEsRiverManagerTest, RemovingAnUnknownIndexIsASuccess) {
  start();
  EXPECT_TRUE(mRiver->removeIndex("things", false));
  EXPECT_EQ(mEs.getScript().getRequestCount(), 0u);
}

TEST_F(CouchToEsRiverManagerTest, RemovingAnUnknownIndexWithDeletionDeletesIt) {
  mEs.setIndex("things", {});
  start();
  EXPECT_TRUE(mRiver->removeIndex("things", true));
  EXPECT_FALSE(mEs.has("things"));
}

TEST_F(CouchToEsRiverManagerTest, RemovingWithDeletionGivesTheResultOfTheDeletion) {
  mEs.answer("DELETE /things", Reply::Json(500, "{}"));
  start();
  EXPECT_FALSE(mRiver->removeIndex("things", true));
}

TEST_F(CouchToEsRiverManagerTest, APatternIsNeverDeleted) {
  start();
  for (const char* name : {"*", "thin*", "a,b", "_all", "", "-a", "<a>", "a/b"}) {
    EXPECT_FALSE(mRiver->removeIndex(name, true)) << name;
  }
  EXPECT_EQ(mEs.getScript().getRequestCount(), 0u);
  EXPECT_EQ(mLog.getLines(LT_Error).size(), 8u);
}

TEST_F(CouchToEsRiverManagerTest, RemovingWaitsForTheWorkerInMidBatch) {
  start();
  open("a", "things");
  ThreadHold& filter = holdFilter("things");
  mCouch.put("a", "one");
  ASSERT_TRUE(filter.waitForArrival());

  const uint64 closed = mCouch.getScript().getClosedConnections();
  std::atomic<bool> done = false;
  std::thread removal([&] {
    mRiver->removeIndex("things", false);
    done = true;
  });
  // The feed is ended, and the Worker still stands in the host's code.
  EXPECT_TRUE(mCouch.getScript().waitForClosedConnections(closed + 1));
  // The pass that ended it cancels the Worker in the same hold of the lock: this call waits for its end.
  EXPECT_FALSE(mRiver->getIndexInfo("things", nullptr, nullptr, nullptr));
  EXPECT_FALSE(done);
  filter.release();
  removal.join();
  EXPECT_EQ(mEs.count("POST /things/_doc/_bulk"), 0u);
}

TEST_F(CouchToEsRiverManagerTest, ADeletionInMidBatchIsNotUndoneByTheBatch) {
  start();
  open("a", "things");
  const Gate fetch = mCouch.hold("GET /a/one");
  mCouch.put("a", "one");
  ASSERT_TRUE(fetch.waitForArrivals(1));
  const uint64 closed = mCouch.getScript().getClosedConnections();
  auto removal = std::async(std::launch::async, [this] { return mRiver->removeIndex("things", true); });
  EXPECT_TRUE(mCouch.getScript().waitForClosedConnections(closed + 1));
  fetch.open();
  EXPECT_TRUE(removal.get());
  awaitTurns();
  EXPECT_FALSE(mEs.has("things"));
  EXPECT_EQ(mEs.count("POST /things/_doc/_bulk"), 0u);
}

TEST_F(CouchToEsRiverManagerTest, ServerWithoutAnIndexGivesAnEmptyList) {
  http::HttpConnection connection(false);
  Indexes indexes = {{"old", {"left"}}};
  EXPECT_TRUE(CouchToEsRiverManager::GetIndexList(connection, mParameters.es, indexes));
  EXPECT_TRUE(indexes.empty());
}

TEST_F(CouchToEsRiverManagerTest, IndexesAreListedByTheirDatabaseAndForeignOnesPassedOver) {
  for (const char* name : {"z", "b", "a"}) mEs.setIndex(name, {});
  mEs.setIndex("foreign", {});
  mEs.setMeta("z", "sourcedbname", string("one"));
  mEs.setMeta("b", "sourcedbname", string("two"));
  mEs.setMeta("a", "sourcedbname", string("one"));
  http::HttpConnection connection(false);
  Indexes indexes;
  EXPECT_TRUE(CouchToEsRiverManager::GetIndexList(connection, mParameters.es, indexes));
  EXPECT_EQ(indexes, (Indexes{{"one", {"a", "z"}}, {"two", {"b"}}}));
  EXPECT_EQ(mEs.takeRequests(), vector<string>{"GET /_mapping"});
}

TEST_F(CouchToEsRiverManagerTest, AListThatCannotBeReadIsAnError) {
  mEs.answer("GET /_mapping", Reply::Json(503, "{}"));
  http::HttpConnection connection(false);
  Indexes indexes = {{"old", {"left"}}};
  EXPECT_FALSE(CouchToEsRiverManager::GetIndexList(connection, mParameters.es, indexes));
  EXPECT_TRUE(indexes.empty());
  EXPECT_EQ(mLog.count(Error("Fail to retrieve index list " + connection.getLastErrorMsg())), 1u);
  EXPECT_FALSE(connection.getLastErrorMsg().empty());
}

TEST_F(CouchToEsRiverManagerTest, ParametersAreCopied) {
  start();
  mParameters.couch = CouchConnectionParameters();
  mParameters.es = elasticsearch::ESConnectionParameters();
  open("a", "things");
  mCouch.put("a", "one");
  EXPECT_TRUE(untilDocument("things", "one"));
}

}  // namespace qx::couch::test
