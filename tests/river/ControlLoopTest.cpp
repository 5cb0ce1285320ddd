#include "netweft/base/system/internal/Clock.h"
#include "tests/river/RiverWorld.h"

namespace qx::couch::test {

namespace {

constexpr const char* sBulk = "POST /things/_doc/_bulk";
constexpr const char* sHealth = "GET /_cluster/health/things";

void AdvanceSec(int64 seconds) { impl::AdvanceClock(seconds * 1000); }

class ControlLoopTest : public RiverWorld {
 protected:
  ControlLoopTest() { mParameters.workerCount = 1; }

  [[nodiscard]] bool untilCount(const string& kind, uint64 count) const {
    return Until([&] { return mEs.count(kind) >= count; });
  }

  /// One document whose batch fails, until the feed was opened a second time.
  void failOnce() {
    mEs.answerAlways(sBulk, Reply::Json(500, "{}"));
    start();
    open("a", "things");
    mCouch.put("a", "one");
    ASSERT_TRUE(untilOpenings("a", 2));
  }
};

class SickIndexTest : public ControlLoopTest {
 protected:
  void SetUp() override {
    start();
    open("a", "things");
    mChecks = mEs.count("HEAD /things");
  }
  /// The requests of one check.
  vector<string> check() {
    mEs.takeRequests();
    AdvanceSec(31);
    EXPECT_TRUE(untilCount("HEAD /things", ++mChecks));
    awaitPasses();
    vector<string> requests;
    for (const string& kind : mEs.takeRequests()) {
      if (kind.find("pass-") == string::npos) requests.push_back(kind);
    }
    return requests;
  }

  uint64 mChecks = 0;
};

}  // namespace

TEST_F(ControlLoopTest, AFeedAsksForBareChangesFromTheStoredSequenceWithAHeartbeatOf30Seconds) {
  start();
  open("a", "things");
  mCouch.put("a", "one");
  ASSERT_TRUE(Until([this] { return meta("things", "lastrefreshseq") == "1"; }));
  addIndex("a", "things");
  ASSERT_TRUE(untilLine(Detail("esriver", "a => Start listening changefeed from 1")));
  EXPECT_TRUE(
      Until([this] { return mCouch.getFeeds("a").back() == "/a/_changes?feed=continuous&heartbeat=30000&since=1"; }));
  EXPECT_EQ(mCouch.getFeeds("a").front(), "/a/_changes?feed=continuous&heartbeat=30000&since=0");
}

TEST_F(ControlLoopTest, AFailedBatchIsTriedAgainOnceAMinute) {
  failOnce();
  EXPECT_EQ(mEs.count(sBulk), 1u);
  awaitTurns();
  EXPECT_EQ(mEs.count(sBulk), 1u) << "the lost change has come again and waits";
  EXPECT_EQ(openings("a"), 2u);

  for (uint64 minute = 2; minute <= 3; ++minute) {
    AdvanceSec(61);
    ASSERT_TRUE(untilCount(sBulk, minute));
    ASSERT_TRUE(untilOpenings("a", minute + 1));
    awaitTurns();
    EXPECT_EQ(mEs.count(sBulk), minute);
    EXPECT_EQ(openings("a"), minute + 1);
  }
}

TEST_F(ControlLoopTest, ABackOffLastsForAMinute) {
  failOnce();
  mEs.answerUsually(sBulk);
  AdvanceSec(25);
  awaitTurns();
  EXPECT_EQ(mEs.count(sBulk), 1u);
  AdvanceSec(36);
  EXPECT_TRUE(untilDocument("things", "one"));
  EXPECT_EQ(openings("a"), 2u);
}

TEST_F(ControlLoopTest, ChangesOfABackOffAllComeWhenItIsOver) {
  mParameters.maxQueuedChanges = 1;
  failOnce();
  mEs.answerUsually(sBulk);
  for (const char* id : {"two", "three", "four"}) {
    mCouch.put("a", id);
    ASSERT_TRUE(untilSeen("a", id)) << "the feed is not paused meanwhile";
  }
  awaitTurns();
  EXPECT_TRUE(mEs.getDocuments("things").empty());
  AdvanceSec(61);
  for (const char* id : {"one", "two", "three", "four"}) EXPECT_TRUE(untilDocument("things", id));
}

TEST_F(ControlLoopTest, AnAddedIndexCancelsTheBackOff) {
  failOnce();
  mEs.answerUsually(sBulk);
  addIndex("a", "things");
  EXPECT_TRUE(untilDocument("things", "one"));
}

TEST_F(ControlLoopTest, ARemovedIndexCancelsTheBackOff) {
  mEs.answerAlways(sBulk, Reply::Json(500, "{}"));
  start();
  open("a", "things");
  addIndex("a", "z-others");
  ASSERT_TRUE(untilOpenings("a", 2));
  mCouch.put("a", "one");
  ASSERT_TRUE(untilOpenings("a", 3));
  mRiver->removeIndex("things", false);
  EXPECT_TRUE(untilDocument("z-others", "one"));
}

TEST_F(ControlLoopTest, AnOpeningThatKeepsFailingIsTriedTwiceAtOnceAndThenOnceAMinute) {
  mEs.answerAlways("PUT /things", Reply::Json(400, "{}"));
  start();
  addIndex("a", "things");
  const CapturedLine line = Error("Fail to create/update index a");
  ASSERT_TRUE(untilLine(line, 2));
  awaitPasses();
  EXPECT_EQ(mLog.count(line), 2u);
  for (uint64 count = 3; count <= 4; ++count) {
    AdvanceSec(61);
    ASSERT_TRUE(untilLine(line, count));
    awaitPasses();
    EXPECT_EQ(mLog.count(line), count);
  }
  mEs.answerUsually("PUT /things");
  AdvanceSec(61);
  EXPECT_TRUE(untilOpenings("a", 1));
}

TEST_F(ControlLoopTest, AFeedOfAMissingDatabaseIsOpenedAnewAndTheIndexLeftAlone) {
  mCouch.answerAlways("GET /a/_changes", Reply::Json(404, "{\"error\":\"not_found\",\"reason\":\"no_db_file\"}\n"));
  start();
  open("a", "things");
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_GE(messages("a", ChangesListener::CM_ListenStopedDbMissing), 1u);
  awaitPasses();
  EXPECT_EQ(openings("a"), 2u);
  mCouch.answerUsually("GET /a/_changes");
  mCouch.put("a", "one");
  AdvanceSec(61);
  ASSERT_TRUE(untilSeen("a", "one"));
  AdvanceSec(61);
  EXPECT_TRUE(untilDocument("things", "one"));
  EXPECT_EQ(mEs.count("PUT /things"), 1u);
}

TEST_F(ControlLoopTest, ANewIndexOnAnOpenFeedStartsItFromTheSmallestSequence) {
  start();
  open("a", "things");
  mCouch.put("a", "one");
  ASSERT_TRUE(Until([this] { return meta("things", "lastrefreshseq") == "1"; }));
  mEs.takeRequests();
  addIndex("a", "others");
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_EQ(mLog.count(Detail("esriver", "a => Start listening changefeed from 0")), 2u);
  EXPECT_TRUE(untilDocument("others", "one"));
  EXPECT_EQ(mEs.count("PUT /things"), 1u);
  EXPECT_GE(mEs.count("GET /things/_mapping"), 3u);
}

TEST_F(ControlLoopTest, RemovingTheLastIndexEndsTheFeed) {
  start();
  open("a", "things");
  ASSERT_TRUE(Until([this] { return messages("a", ChangesListener::CM_Listening) == 1; }));
  const uint64 closed = mCouch.getScript().getClosedConnections();
  mRiver->removeIndex("things", false);
  EXPECT_TRUE(mCouch.getScript().waitForClosedConnections(closed + 1));
  mCouch.put("a", "one");
  awaitPasses();
  EXPECT_EQ(messages("a", ChangesListener::CM_NewChange), 0u);
}

TEST_F(ControlLoopTest, WithoutAnIndexItPassesAtItsLeisure) {
  start();
  awaitPasses();
  for (const char* name : {"pass-1", "pass-2"}) mRiver->removeIndex(name, false);
  open("a", "things");
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
}

TEST_F(ControlLoopTest, AFullQueueHoldsItsFeedBackUntilAWorkerHasEmptiedIt) {
  mParameters.maxQueuedChanges = 1;
  mParameters.maxDocsPerBatch = 1;
  start();
  open("a", "things");
  open("b", "others");
  const Gate fetch = mCouch.hold("GET /a/one");
  mCouch.put("a", "one");
  ASSERT_TRUE(fetch.waitForArrivals(1));
  mCouch.putAll("a", {"two", "three"});
  ASSERT_TRUE(untilSeen("a", "three"));
  awaitPasses();

  mCouch.put("a", "four");
  mCouch.put("b", "other");
  ASSERT_TRUE(untilSeen("b", "other")) << "other feeds flow";
  awaitPasses();
  EXPECT_EQ(messages("a", ChangesListener::CM_NewChange), 3u);
  fetch.open();
  EXPECT_TRUE(untilSeen("a", "four"));
  for (const char* id : {"one", "two", "three", "four"}) EXPECT_TRUE(untilDocument("things", id));
}

TEST_F(ControlLoopTest, AQueueOfExactlyTheLimitDoesNotHoldItsFeedBack) {
  mParameters.maxQueuedChanges = 2;
  mParameters.maxDocsPerBatch = 1;
  start();
  open("a", "things");
  const Gate fetch = mCouch.hold("GET /a/one");
  mCouch.put("a", "one");
  ASSERT_TRUE(fetch.waitForArrivals(1));
  mCouch.putAll("a", {"two", "three"});
  ASSERT_TRUE(untilSeen("a", "three"));
  awaitPasses();
  mCouch.put("a", "four");
  EXPECT_TRUE(untilSeen("a", "four"));
}

TEST_F(ControlLoopTest, ManyChangesOfADocumentWaitAsOne) {
  start();
  open("a", "things");
  const Gate fetch = mCouch.hold("GET /a/first");
  mCouch.put("a", "first");
  ASSERT_TRUE(fetch.waitForArrivals(1));
  for (int i = 0; i < 3; ++i) {
    mCouch.put("a", "one");
    ASSERT_TRUE(Until([&] { return messages("a", ChangesListener::CM_NewChange) == static_cast<uint64>(i) + 2; }));
  }
  awaitPasses();
  fetch.open();
  ASSERT_TRUE(untilAt("things", 4));
  EXPECT_EQ(mCouch.count("GET /a/one"), 1u);
}

TEST_F(SickIndexTest, AWellOneIsAskedThreeQuestionsEvery30Seconds) {
  const vector<string> questions = {"HEAD /things", sHealth, "GET /things/_settings"};
  awaitPasses();
  EXPECT_EQ(mEs.count(sHealth), 0u) << "not before 30 seconds are over";
  EXPECT_EQ(check(), questions);
  EXPECT_EQ(check(), questions);
  EXPECT_EQ(openings("a"), 1u);
}

TEST_F(SickIndexTest, AMissingOneIsMadeAnewAndFilledFromTheStart) {
  mCouch.put("a", "one");
  ASSERT_TRUE(untilAt("things", 1));
  mEs.removeIndex("things");
  AdvanceSec(31);
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_EQ(mLog.count(Warning("Index things is missing !")), 1u);
  EXPECT_EQ(mLog.count(Detail("esriver", "a => Start listening changefeed from 0")), 2u);
  AdvanceSec(61);
  EXPECT_TRUE(untilDocument("things", "one"));
}

TEST_F(SickIndexTest, ARedOneIsOpenedAnewAndCheckedAgain30SecondsLater) {
  mEs.answerAlways(sHealth, Reply::Json(200, R"({"status":"red"})"));
  AdvanceSec(31);
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_EQ(mLog.count(Error("index things is sick, status is red")), 1u);
  awaitPasses();
  EXPECT_EQ(mEs.count(sHealth), 1u);
  AdvanceSec(31);
  EXPECT_TRUE(untilCount(sHealth, 2));
}

TEST_F(SickIndexTest, AnotherCreationIsOpenedAnew) {
  FakeElasticsearch::Index index = mEs.getIndex("things");
  index.uuid = "another";
  mEs.setIndex("things", index);
  AdvanceSec(31);
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_EQ(mLog.count(Warning("creationdescriptor missmatch")), 1u);
  EXPECT_EQ(mEs.count("PUT /things"), 2u);
}

TEST_F(SickIndexTest, SettingsThatAreMissingLeaveTheJobAlone) {
  mEs.answer("GET /things/_settings", Reply::Json(404, "{}"));
  check();
  EXPECT_EQ(openings("a"), 1u);
  EXPECT_TRUE(mLog.getLines(LT_Warning).empty());
}

TEST_F(SickIndexTest, OnlyTheFirstIndexOfADatabaseIsChecked) {
  addIndex("a", "a-first");
  ASSERT_TRUE(untilOpenings("a", 2));
  for (uint64 i = 1; i <= 2; ++i) {
    AdvanceSec(31);
    ASSERT_TRUE(untilCount("GET /_cluster/health/a-first", i));
    awaitPasses();
  }
  EXPECT_EQ(mEs.count(sHealth), 0u);
}

}  // namespace qx::couch::test
