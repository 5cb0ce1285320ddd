#include "netweft/base/system/internal/Clock.h"
#include "tests/river/RiverWorld.h"

#include <future>

/// The generation of a database repeats. Each test forces one of the ways in which it does, on both sides of a pass of
/// the control thread.
namespace qx::couch::test {

namespace {

constexpr const char* sBulk = "POST /things/_doc/_bulk";
constexpr const char* sWriteMeta = "PUT /things/_doc/_mapping";

class CouchToEsRiverManagerEpochTest : public RiverWorld {
 protected:
  bool isDeclared(const string& index) { return mRiver->getIndexInfo(index, nullptr, nullptr, nullptr); }

  /// A document of another database whose fetch shows that a Worker is free again.
  Gate queueProofOfRelease(const string& db) {
    open(db, db);
    const Gate gate = mCouch.hold("GET /" + db + "/proof");
    return gate;
  }
};

}  // namespace

TEST_F(CouchToEsRiverManagerEpochTest, ADatabaseRemovedAndAddedWithinOnePassIsOpenedAnew) {
  start();
  open("a", "things");
  mCouch.put("a", "one");
  ASSERT_TRUE(untilAt("things", 1));

  holdControl();
  ASSERT_TRUE(mRiver->removeIndex("things", false));
  addIndex("a", "things", "2");
  letControlGo();

  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_EQ(mLog.count(Detail("esriver", "a => Start listening changefeed from 0")), 2u);
  EXPECT_EQ(meta("things", "applicationversion"), "2");
  EXPECT_TRUE(untilDocument("things", "one"));
}

TEST_F(CouchToEsRiverManagerEpochTest, ABatchOfTheRemovedDatabaseDoesNotGoOnForTheOneAddedInItsPlace) {
  start();
  open("a", "things");
  const Gate fetch = mCouch.hold("GET /a/one");
  mCouch.put("a", "one");
  ASSERT_TRUE(fetch.waitForArrivals(1));

  holdControl();
  auto removal = std::async(std::launch::async, [this] { return mRiver->removeIndex("things", false); });
  ASSERT_TRUE(Until([this] { return !isDeclared("things"); }));
  addIndex("a", "things", "2");
  const uint64 written = mEs.count(sWriteMeta);
  fetch.open();
  ASSERT_TRUE(removal.get());  // the Worker has let go
  EXPECT_EQ(mEs.count(sBulk), 0u);
  EXPECT_EQ(mEs.count("POST /things/_refresh"), 0u);
  EXPECT_EQ(mEs.count(sWriteMeta), written);

  letControlGo();
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_TRUE(untilDocument("things", "one"));
}

TEST_F(CouchToEsRiverManagerEpochTest, AFailedBatchComesAgainWhenAnIndexIsAddedBeforeThePassSeesTheFailure) {
  mParameters.workerCount = 1;
  start();
  open("a", "things");
  const Gate proof = queueProofOfRelease("b");
  const Gate bulk;
  mEs.answer(sBulk, Reply().waitFor(bulk).send(Reply::HttpText(500, "{}")));
  mCouch.put("a", "one");
  ASSERT_TRUE(bulk.waitForArrivals(1));
  mCouch.put("b", "proof");
  ASSERT_TRUE(untilSeen("b", "proof"));

  holdControl();
  bulk.open();
  ASSERT_TRUE(proof.waitForArrivals(1));  // the failure was released: generation 0
  addIndex("a", "things");                // and 1 again
  letControlGo();
  proof.open();

  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_TRUE(untilDocument("things", "one"));
}

TEST_F(CouchToEsRiverManagerEpochTest, ALaterBatchGoesNoFurtherThanALostOneWhileThePassWaitsForAnotherDatabase) {
  mParameters.workerCount = 3;
  mParameters.maxDocsPerBatch = 1;
  mParameters.refreshPeriodSec = 0;
  start();
  for (const char* db : {"0", "a", "b", "c"}) open(db, db);
  // One Worker stands in the filter, where no cancel reaches it.
  ThreadHold& filter = holdFilter("0");
  mCouch.put("0", "one");
  ASSERT_TRUE(filter.waitForArrival());
  // One has the first batch of "a" in its bulk request, one the second in its fetch.
  const Gate bulk;
  mEs.answer("POST /a/_doc/_bulk", Reply().waitFor(bulk).send(Reply::HttpText(500, "{}")));
  mCouch.put("a", "one");
  ASSERT_TRUE(bulk.waitForArrivals(1));
  const Gate fetch = mCouch.hold("GET /a/two");
  mCouch.put("a", "two");
  ASSERT_TRUE(fetch.waitForArrivals(1));
  // What a Worker takes next when it is free.
  const Gate firstFree = mCouch.hold("GET /b/proof");
  const Gate secondFree = mCouch.hold("GET /c/proof");
  mCouch.put("b", "proof");
  mCouch.put("c", "proof");
  ASSERT_TRUE(untilSeen("b", "proof") && untilSeen("c", "proof"));

  holdControl();
  addIndex("0", "0");  // restarts with "a", and its Worker is waited for first
  bulk.open();
  ASSERT_TRUE(Until([&] { return mCouch.count("GET /b/proof") + mCouch.count("GET /c/proof") >= 1; }));
  const uint64 closed = mCouch.getScript().getClosedConnections();
  letControlGo();
  ASSERT_TRUE(mCouch.getScript().waitForClosedConnections(closed + 2));  // the feeds of "0" and "a": generation 1 again
  fetch.open();
  ASSERT_TRUE(firstFree.waitForArrivals(1) && secondFree.waitForArrivals(1));  // both Workers of "a" are through
  EXPECT_EQ(mEs.count("POST /a/_doc/_bulk"), 1u);
  EXPECT_EQ(meta("a", "lastrefreshseq"), "0");

  filter.release();
  firstFree.open();
  secondFree.open();
  ASSERT_TRUE(untilOpenings("a", 2));
  impl::AdvanceClock(61000);
  EXPECT_TRUE(untilDocument("a", "one"));
  EXPECT_TRUE(untilDocument("a", "two"));
}

TEST_F(CouchToEsRiverManagerEpochTest, NothingIsTakenFromBehindAFailedBatchBeforeThePassSeesTheFailure) {
  mParameters.workerCount = 1;
  mParameters.maxDocsPerBatch = 1;
  mParameters.refreshPeriodSec = 0;
  start();
  open("a", "a");
  open("b", "b");
  const Gate fetch;
  mCouch.answer("GET /a/one", Reply().waitFor(fetch).send(Reply::HttpText(500, "{}")));
  mCouch.put("a", "one");
  ASSERT_TRUE(fetch.waitForArrivals(1));
  mCouch.put("a", "two");
  mCouch.put("b", "one");
  const Gate proof = mCouch.hold("GET /b/two");
  mCouch.put("b", "two");
  ASSERT_TRUE(untilSeen("a", "two") && untilSeen("b", "two"));

  holdControl();
  impl::AdvanceClock(5000);  // "a" has waited longer than "b" when the Worker chooses for the second time
  fetch.open();
  ASSERT_TRUE(proof.waitForArrivals(1));
  EXPECT_EQ(mCouch.count("GET /a/two"), 0u);
  EXPECT_EQ(meta("a", "lastrefreshseq"), "0");

  letControlGo();
  proof.open();
  ASSERT_TRUE(untilOpenings("a", 2));
  impl::AdvanceClock(61000);
  EXPECT_TRUE(untilDocument("a", "one"));
  EXPECT_TRUE(untilDocument("a", "two"));
}

}  // namespace qx::couch::test
