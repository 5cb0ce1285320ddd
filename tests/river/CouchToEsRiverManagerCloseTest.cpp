#include "netweft/base/system/internal/Clock.h"
#include "tests/river/RiverWorld.h"

#include <thread>

/// A manager ends in bounded time whatever its servers do. The stall limits are 45 and 60 seconds: an end well below
/// them is the work of a cancel.
namespace qx::couch::test {

namespace {

constexpr std::chrono::seconds sPrompt(15);

string BigJson() { return "{\"errors\":false,\"fill\":\"" + string(4000, 'x') + "\"}"; }

/// A reply whose body comes a byte at a time, for longer than any test takes.
Reply Dripping() {
  const string text = Reply::HttpText(200, BigJson(), {{"Content-Type", "application/json"}, {"ETag", "\"1-a\""}});
  const size_t head = text.find("\r\n\r\n") + 4;
  return Reply::Raw(text.substr(0, head)).drip(text.substr(head), std::chrono::milliseconds(1000));
}

Reply ClosedEarly() { return Reply::Raw("HTTP/1.1 200 OK\r\nContent-Length: 4000\r\n\r\n{").close(); }

class CouchToEsRiverManagerCloseTest : public RiverWorld {
 protected:
  std::chrono::milliseconds timeToStop() {
    const auto begin = Clock::now();
    stop();
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
  }

  void openAndPut() {
    start();
    open("a", "things");
    mCouch.put("a", "one");
  }
};

}  // namespace

TEST_F(CouchToEsRiverManagerCloseTest, AnIdleManagerEndsAtOnce) {
  start();
  open("a", "things");
  EXPECT_LT(timeToStop(), sPrompt);
  EXPECT_TRUE(mEs.has("things"));
}

TEST_F(CouchToEsRiverManagerCloseTest, ClosingTwiceIsAllowed) {
  start();
  open("a", "things");
  mRiver->closeManager();
  mRiver->closeManager();
  EXPECT_FALSE(mRiver->getIndexInfo("things", nullptr, nullptr, nullptr));
  EXPECT_TRUE(mEs.has("things"));
  EXPECT_LT(timeToStop(), sPrompt);
}

TEST_F(CouchToEsRiverManagerCloseTest, ADocumentServerThatSpeaksAgain) {
  const Gate fetch = mCouch.hold("GET /a/one");
  openAndPut();
  ASSERT_TRUE(fetch.waitForArrivals(1));
  std::thread closing([this] { mRiver->closeManager(); });
  EXPECT_TRUE(Until([this] { return !mRiver->getIndexInfo("things", nullptr, nullptr, nullptr); }));
  fetch.open();
  closing.join();
  EXPECT_LT(timeToStop(), sPrompt);
  EXPECT_EQ(
      mLog.count(Detail("esriver", "a w1 => job canceled")) + mLog.count(Detail("esriver", "a w2 => job canceled")),
      1u);
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
  EXPECT_EQ(mEs.count("POST /things/_doc/_bulk"), 0u);
}

TEST_F(CouchToEsRiverManagerCloseTest, DrippingDocument) {
  mCouch.answerAlways("GET /a/one", Dripping());
  openAndPut();
  ASSERT_TRUE(Until([this] { return mCouch.count("GET /a/one") == 1; }));
  EXPECT_LT(timeToStop(), sPrompt);
  EXPECT_EQ(mEs.count("POST /things/_doc/_bulk"), 0u);
}

TEST_F(CouchToEsRiverManagerCloseTest, DocumentClosedEarly) {
  mCouch.answerAlways("GET /a/one", ClosedEarly());
  openAndPut();
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_LT(timeToStop(), sPrompt);
  EXPECT_EQ(mEs.count("POST /things/_doc/_bulk"), 0u);
}

TEST_F(CouchToEsRiverManagerCloseTest, DrippingBulkReply) {
  mEs.answerAlways("POST /things/_doc/_bulk", Dripping());
  openAndPut();
  ASSERT_TRUE(Until([this] { return mEs.count("POST /things/_doc/_bulk") == 1; }));
  EXPECT_LT(timeToStop(), sPrompt);
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
  EXPECT_EQ(mEs.count("POST /things/_refresh"), 0u);
  EXPECT_EQ(meta("things", "lastrefreshseq"), "0");
}

TEST_F(CouchToEsRiverManagerCloseTest, BulkReplyClosedEarly) {
  mEs.answerAlways("POST /things/_doc/_bulk", ClosedEarly());
  openAndPut();
  ASSERT_TRUE(untilOpenings("a", 2));
  EXPECT_LT(timeToStop(), sPrompt);
  EXPECT_EQ(meta("things", "lastrefreshseq"), "0");
}

TEST_F(CouchToEsRiverManagerCloseTest, DrippingOpeningUnderTheLock) {
  mEs.answerAlways("GET /things/_mapping", Dripping());
  start();
  addIndex("a", "things");
  ASSERT_TRUE(Until([this] { return mEs.count("GET /things/_mapping") == 1; }));
  EXPECT_LT(timeToStop(), sPrompt);
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
  EXPECT_EQ(mEs.count("DELETE /things"), 0u);
}

TEST_F(CouchToEsRiverManagerCloseTest, DrippingHealthCheckIsNoSickness) {
  mEs.answerAlways("GET /_cluster/health/things", Dripping());
  start();
  open("a", "things");
  qx::impl::AdvanceClock(31000);
  ASSERT_TRUE(Until([this] { return mEs.count("GET /_cluster/health/things") == 1; }));
  EXPECT_LT(timeToStop(), sPrompt);
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
}

TEST_F(CouchToEsRiverManagerCloseTest, ServersThatRefuse) {
  const qx::test::RefusingPort refusing;
  mParameters.es = elasticsearch::ESConnectionParameters(Url(refusing.getUrl("")));
  mParameters.couch = CouchConnectionParameters(Url(refusing.getUrl("")));
  start();
  addIndex("a", "things");
  ASSERT_TRUE(untilLine(Error("Fail to create/update index a")));
  EXPECT_LT(timeToStop(), sPrompt);
}

TEST_F(CouchToEsRiverManagerCloseTest, FeedsThatStaySilent) {
  mCouch.answerAlways("GET /a/_changes", Reply::Silent());
  start();
  open("a", "things");
  EXPECT_LT(timeToStop(), sPrompt);
}

TEST_F(CouchToEsRiverManagerCloseTest, AnIndexAddedAfterwardsIsNotServed) {
  start();
  mRiver->closeManager();
  addIndex("a", "things");
  EXPECT_LT(timeToStop(), sPrompt);
  EXPECT_EQ(mEs.getScript().getRequestCount(), 0u);
}

TEST_F(CouchToEsRiverManagerCloseTest, NothingBeyondWhatWasAcceptedIsStored) {
  openAndPut();
  ASSERT_TRUE(Until([this] { return meta("things", "lastrefreshseq") == "1"; }));
  ThreadHold& filter = holdFilter("things");
  mCouch.put("a", "two");
  ASSERT_TRUE(filter.waitForArrival());
  std::thread closing([this] { mRiver->closeManager(); });
  EXPECT_TRUE(Until([this] { return !mRiver->getIndexInfo("things", nullptr, nullptr, nullptr); }));
  filter.release();
  closing.join();
  stop();
  EXPECT_FALSE(mEs.getDocuments("things").contains("two"));
  EXPECT_EQ(meta("things", "lastrefreshseq"), "1");
}

}  // namespace qx::couch::test
