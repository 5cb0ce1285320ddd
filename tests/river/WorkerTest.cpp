#include "netweft/base/system/internal/Clock.h"
#include "tests/river/RiverWorld.h"

#include <gmock/gmock.h>

namespace qx::couch::test {

namespace {

using testing::MatchesRegex;

constexpr const char* sBulk = "POST /things/_doc/_bulk";

class WorkerTest : public RiverWorld {
 protected:
  WorkerTest() { mParameters.workerCount = 1; }

  [[nodiscard]] bool untilStored(const string& index, const string& seq) const {
    return Until([&] { return meta(index, "lastrefreshseq") == seq; });
  }
  /// The Worker's lines about a database, without the database and the number.
  vector<string> steps(const string& db) const {
    const string begin = db + " w1 => ";
    vector<string> steps;
    for (const CapturedLine& line : mLog.getLines(LT_Detail)) {
      if (line.channel == "esriver" && line.text.starts_with(begin)) steps.push_back(line.text.substr(begin.size()));
    }
    return steps;
  }
  /// Several changes in one batch: they gather while the Worker is busy elsewhere.
  void putAsOneBatch(const string& db, const vector<string>& ids, const string& fields = "") {
    open("busy", "busy");
    const Gate gate = mCouch.hold("GET /busy/it");
    mCouch.put("busy", "it");
    ASSERT_TRUE(gate.waitForArrivals(1));
    mCouch.putAll(db, ids, fields);
    ASSERT_TRUE(untilSeen(db, ids.back()));
    awaitPasses();
    gate.open();
  }
};

}  // namespace

TEST_F(WorkerTest, ABatchLeavesALineForEachStep) {
  start();
  open("a", "things");
  putAsOneBatch("a", {"one", "two"});
  ASSERT_TRUE(untilAt("things", 2));
  EXPECT_THAT(steps("a"),
              testing::ElementsAre(
                  "process 2 docs from seq 1 to 2", MatchesRegex(R"(run 2 GET @[0-9]+\.[0-9]{3}doc/s)"),
                  MatchesRegex(R"(generate 2 cmds @[0-9]+\.[0-9]{3}cmd/s, [0-9]+B @[0-9]+\.[0-9]{3}B/s)"),
                  MatchesRegex(R"(index @[0-9]+\.[0-9]{3}cmd/s)"), MatchesRegex("refresh in .*m?s, write seq 2")));
}

TEST_F(WorkerTest, ABatchIsPostedRefreshedAndRecordedInThisOrder) {
  start();
  open("a", "things");
  mEs.takeRequests();
  mCouch.put("a", "one");
  ASSERT_TRUE(untilAt("things", 1));
  EXPECT_EQ(mEs.takeRequests(),
            (vector<string>{sBulk, "POST /things/_refresh", "GET /things/_mapping", "PUT /things/_doc/_mapping"}));
  EXPECT_TRUE(mEs.getLast(sBulk).hasHeaderLine("Content-Type: application/x-ndjson") ||
              mEs.getLast(sBulk).hasHeaderLine("Content-Type:application/x-ndjson"));
  EXPECT_EQ(meta("things", "lastrefreshseq"), "1");
  EXPECT_FALSE(meta("things", "lastrefreshdate").empty());
  EXPECT_EQ(meta("things", "sourcedbname"), "a");
}

TEST_F(WorkerTest, DesignDocumentsAloneAdvanceTheFeedWithNothingPosted) {
  start();
  open("a", "things");
  mCouch.put("a", "_design/views");
  ASSERT_TRUE(untilStored("things", "1"));
  EXPECT_EQ(mEs.count(sBulk), 0u);
  EXPECT_EQ(mCouch.count("GET /a/_design/views"), 0u);
}

TEST_F(WorkerTest, ADocumentFilteredOutOfEveryIndexAdvancesTheFeedWithNothingPosted) {
  Refuse("things", "one");
  start();
  open("a", "things");
  mCouch.put("a", "one");
  ASSERT_TRUE(untilStored("things", "1"));
  EXPECT_EQ(mEs.count(sBulk), 0u);
  EXPECT_THAT(steps("a")[2], MatchesRegex("generate 0 cmds @.*"));
}

TEST_F(WorkerTest, ADocumentFilteredOutOfOneIndexGoesIntoTheOther) {
  Refuse("things", "one");
  start();
  open("a", "things");
  addIndex("a", "others");
  ASSERT_TRUE(untilOpenings("a", 2));
  mCouch.put("a", "one");
  ASSERT_TRUE(untilStored("things", "1") && untilStored("others", "1"));
  EXPECT_EQ(mEs.count(sBulk), 0u);
  EXPECT_TRUE(mEs.getDocuments("others").contains("one"));
}

TEST_F(WorkerTest, ADocumentThatIsGoneWithoutADeletionGivesNoCommand) {
  start();
  open("a", "things");
  mCouch.answer("GET /a/one", Reply::Json(404, "{}"));
  mCouch.put("a", "one");
  ASSERT_TRUE(untilStored("things", "1"));
  EXPECT_EQ(mEs.count(sBulk), 0u);
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
}

TEST_F(WorkerTest, ADeletionDeletes) {
  start();
  open("a", "things");
  mCouch.put("a", "one");
  ASSERT_TRUE(untilDocument("things", "one"));
  mCouch.remove("a", "one");
  EXPECT_TRUE(untilAt("things", 2));
  EXPECT_TRUE(mEs.getDocuments("things").empty());
  EXPECT_EQ(mEs.getBody(sBulk), "{\"delete\":{\"_id\":\"one\"}}\n");
}

TEST_F(WorkerTest, ANewerRevisionIsLeftToTheChangeThatBringsIt) {
  start();
  open("a", "things");
  open("busy", "busy");
  const Gate gate = mCouch.hold("GET /busy/it");
  mCouch.put("busy", "it");
  ASSERT_TRUE(gate.waitForArrivals(1));
  mCouch.put("a", "one");
  ASSERT_TRUE(untilSeen("a", "one"));
  mCouch.putSilently("a", "one");
  gate.open();
  ASSERT_TRUE(untilStored("things", "1"));
  EXPECT_EQ(mEs.count(sBulk), 0u);
  mCouch.put("a", "one");
  EXPECT_TRUE(untilDocument("things", "one"));
}

TEST_F(WorkerTest, TheIdIsRenamedOnceForTwoIndexes) {
  start();
  open("a", "things");
  addIndex("a", "others");
  ASSERT_TRUE(untilOpenings("a", 2));
  mCouch.put("a", "one", R"(,"zz":"_id")");
  ASSERT_TRUE(untilDocument("others", "one") && untilDocument("things", "one"));
  EXPECT_THAT(mEs.getDocuments("others")["one"], testing::HasSubstr(R"("-id":"one")"));
  EXPECT_THAT(mEs.getDocuments("others")["one"], testing::HasSubstr(R"("zz":"_id")"));
  EXPECT_THAT(mEs.getDocuments("things")["one"], testing::HasSubstr(R"("-id":"one")"));
  EXPECT_THAT(mEs.getDocuments("things")["one"], testing::HasSubstr(R"("zz":"-id")"));
}

TEST_F(WorkerTest, ARecordThatBringsTheSumExactlyToTheBudgetWaitsForTheNextBatch) {
  start();
  open("a", "things");
  mCouch.put("a", "probe");
  ASSERT_TRUE(untilStored("things", "1"));
  const uint64 oneCommand = mEs.getBody(sBulk).size() - 2 * (string("probe").size() - string("one").size());
  stop();
  mParameters.maxBatchBytes = static_cast<uint32>(2 * oneCommand);
  start();
  ASSERT_NO_FATAL_FAILURE(open("a", "things"));
  mLog.clear();
  putAsOneBatch("a", {"one", "two"});
  ASSERT_TRUE(untilDocument("things", "two"));
  EXPECT_EQ(steps("a")[0], "process 2 docs from seq 2 to 3");
  EXPECT_THAT(steps("a")[1], MatchesRegex("run 1 GET @.*"));
  EXPECT_EQ(mCouch.count("GET /a/two"), 2u);
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
}

TEST_F(WorkerTest, BatchesThatOutgrowTheBudgetAreHalvedUntilAllDocumentsHaveArrived) {
  mParameters.maxParallelGets = 8;
  mParameters.maxBatchBytes = 3000;
  const vector<string> ids = {"d1", "d2", "d3", "d4", "d5", "d6", "d7", "d8"};
  start();
  open("a", "things");
  putAsOneBatch("a", ids, R"(,"fill":")" + string(800, 'x') + "\"");
  const CapturedLine line = Error("Fail to index document, because document is too large");
  for (uint64 failures = 1; failures <= 2; ++failures) {
    ASSERT_TRUE(untilOpenings("a", failures + 1));
    EXPECT_EQ(mLog.count(line), failures);
    impl::AdvanceClock(61000);
  }
  for (const string& id : ids) ASSERT_TRUE(untilDocument("things", id)) << id;
  EXPECT_EQ(mLog.count(line), 2u);
  vector<string> sizes;
  for (const string& step : steps("a")) {
    if (step.starts_with("process ")) sizes.push_back(step.substr(0, step.find(" docs")));
  }
  ASSERT_GE(sizes.size(), 3u);
  EXPECT_EQ(sizes[0], "process 8");
  EXPECT_EQ(sizes[1], "process 4");
  EXPECT_EQ(sizes[2], "process 2");
}

TEST_F(WorkerTest, TheDatabaseThatWaitedLongestIsServedFirst) {
  start();
  for (const char* db : {"a", "b", "busy"}) open(db, db);
  for (const char* db : {"b", "a"}) {
    mCouch.put(db, "early");
    ASSERT_TRUE(untilDocument(db, "early"));
    ASSERT_TRUE(untilAt(db, 1));
    impl::AdvanceClock(2000);
  }
  const Gate gate = mCouch.hold("GET /busy/it");
  mCouch.put("busy", "it");
  ASSERT_TRUE(gate.waitForArrivals(1));
  for (const char* db : {"a", "b"}) {
    mCouch.put(db, "late");
    ASSERT_TRUE(untilSeen(db, "late"));
  }
  awaitPasses();
  const Gate later = mCouch.hold("GET /b/late");
  gate.open();
  ASSERT_TRUE(later.waitForArrivals(1));
  EXPECT_EQ(mCouch.count("GET /a/late"), 0u);
  later.open();
  EXPECT_TRUE(untilDocument("a", "late"));
}

TEST_F(WorkerTest, TransportsAreKeptForAMinute) {
  start();
  open("a", "things");
  mCouch.put("a", "one");
  ASSERT_TRUE(untilAt("things", 1));
  const uint64 first = mEs.getLast(sBulk).connection;
  mCouch.put("a", "two");
  ASSERT_TRUE(untilAt("things", 2));
  EXPECT_EQ(mEs.getLast(sBulk).connection, first);
  // A pass with work rouses the Worker, and finding nothing it looks at the age of its transports.
  const uint64 closed = mEs.getScript().getClosedConnections();
  impl::AdvanceClock(61000);
  awaitPasses();
  ASSERT_TRUE(mEs.getScript().waitForClosedConnections(closed + 1));
  mCouch.put("a", "three");
  ASSERT_TRUE(untilAt("things", 3));
  EXPECT_NE(mEs.getLast(sBulk).connection, first);
}

TEST_F(WorkerTest, WithoutARefreshTheSequenceIsKnownAndNotStored) {
  mParameters.maxDocsPerBatch = 1;
  start();
  open("a", "things");
  mCouch.put("a", "first");
  ASSERT_TRUE(untilStored("things", "1"));
  ASSERT_TRUE(untilAt("things", 1));
  const Gate fetch = mCouch.hold("GET /a/three");
  putAsOneBatch("a", {"two", "three"});
  ASSERT_TRUE(fetch.waitForArrivals(1));
  ASSERT_TRUE(untilAt("things", 2));
  EXPECT_EQ(meta("things", "lastrefreshseq"), "1");
  fetch.open();
  EXPECT_TRUE(untilStored("things", "3"));
}

TEST_F(WorkerTest, ASequenceIsNotStoredWhenABulkRequestFailed) {
  mEs.answer(sBulk,
             Reply::Json(200, R"({"errors":true,"items":[{"index":{"_id":"one","status":400,"error":"bad"}}]})"));
  start();
  open("a", "things");
  mCouch.put("a", "one");
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_EQ(mEs.count("POST /things/_refresh"), 0u);
  EXPECT_EQ(meta("things", "lastrefreshseq"), "0");
  EXPECT_EQ(mLog.count(Detail("esriver", "a => Start listening changefeed from 0")), 2u);
}

TEST_F(WorkerTest, ASequenceIsNotStoredWhenAShardWasNotRefreshed) {
  mEs.answer("POST /things/_refresh", Reply::Json(200, R"({"_shards":{"total":2,"successful":1,"failed":1}})"));
  start();
  open("a", "things");
  mCouch.put("a", "one");
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_EQ(mLog.count(Error(R"(Fail to refresh index {"_shards":{"total":2,"successful":1,"failed":1}})")), 1u);
  EXPECT_EQ(meta("things", "lastrefreshseq"), "0");
}

TEST_F(WorkerTest, AnIndexThatABulkRequestHasMadeIsBuiltAnew) {
  start();
  open("a", "things");
  const Gate fetch = mCouch.hold("GET /a/one");
  mCouch.put("a", "one");
  ASSERT_TRUE(fetch.waitForArrivals(1));
  mEs.removeIndex("things");
  fetch.open();
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_EQ(mLog.count(Error("Index things is not the one that was created for the river any more")), 1u);
  EXPECT_EQ(meta("things", "lastrefreshseq"), "0");
  EXPECT_EQ(meta("things", "applicationversion"), "1");
  impl::AdvanceClock(61000);
  EXPECT_TRUE(untilDocument("things", "one"));
  EXPECT_TRUE(untilStored("things", "1"));
}

TEST_F(WorkerTest, ALargerStoredSequenceStays) {
  start();
  open("a", "things");
  mEs.setMeta("things", "lastrefreshseq", 900);
  mCouch.put("a", "one");
  ASSERT_TRUE(untilAt("things", 1));
  EXPECT_EQ(meta("things", "lastrefreshseq"), "900");
}

TEST_F(WorkerTest, AFailedFetchFailsTheBatchAndTheFeedBringsItAgain) {
  mCouch.answer("GET /a/one", Reply::Json(500, "{}"));
  start();
  open("a", "things");
  mCouch.put("a", "one");
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_EQ(mEs.count(sBulk), 0u);
  impl::AdvanceClock(61000);
  EXPECT_TRUE(untilDocument("things", "one"));
}

TEST_F(WorkerTest, ARestartCancelsTheBatchWithALine) {
  start();
  open("a", "things");
  const Gate fetch = mCouch.hold("GET /a/one");
  mCouch.put("a", "one");
  ASSERT_TRUE(fetch.waitForArrivals(1));
  const uint64 closed = mCouch.getScript().getClosedConnections();
  addIndex("a", "others");
  ASSERT_TRUE(mCouch.getScript().waitForClosedConnections(closed + 1));  // the feed, under the lock
  fetch.open();
  ASSERT_TRUE(untilLine(Detail("esriver", "a w1 => job canceled")));
  EXPECT_TRUE(untilDocument("things", "one"));
  EXPECT_TRUE(untilDocument("others", "one"));
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
}

TEST_F(WorkerTest, BatchesOfADatabaseKeepTheirOrderOverTwoWorkers) {
  mParameters.workerCount = 2;
  mParameters.maxDocsPerBatch = 1;
  start();
  open("a", "things");
  const Gate bulk = mEs.hold(sBulk);
  mCouch.put("a", "one");
  ASSERT_TRUE(bulk.waitForArrivals(1));
  mCouch.put("a", "two");
  ASSERT_TRUE(Until([this] { return mCouch.count("GET /a/two") == 1; })) << "fetched while the first is indexed";
  awaitPasses();
  EXPECT_EQ(mEs.count(sBulk), 1u);
  bulk.open();
  EXPECT_TRUE(untilAt("things", 2));
}

TEST_F(WorkerTest, ABatchGoesToAWorkerThatHasItsTransports) {
  mParameters.workerCount = 6;
  start();
  open("a", "things");
  set<uint64> connections;
  for (uint64 seq = 1; seq <= 12; ++seq) {
    mCouch.put("a", "doc" + std::to_string(seq));
    ASSERT_TRUE(untilAt("things", seq));
    connections.insert(mEs.getLast(sBulk).connection);
  }
  // The first one may not have lain down when the next batch comes.
  EXPECT_LE(connections.size(), 2u);
}

TEST_F(WorkerTest, ASecondDatabaseIsServedWhileTheFirstIsFetched) {
  mParameters.workerCount = 2;
  start();
  for (const char* db : {"a", "b"}) open(db, db);
  mCouch.put("a", "early");
  ASSERT_TRUE(untilAt("a", 1));
  const Gate first = mCouch.hold("GET /a/late");
  const Gate second = mCouch.hold("GET /b/late");
  holdControl();
  mCouch.put("a", "late");
  mCouch.put("b", "late");
  letControlGo();
  EXPECT_TRUE(first.waitForArrivals(1));
  EXPECT_TRUE(second.waitForArrivals(1));
  first.open();
  second.open();
}

}  // namespace qx::couch::test
