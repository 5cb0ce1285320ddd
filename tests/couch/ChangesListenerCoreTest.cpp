#include "netweft/couch/internal/ChangesListenerCore.h"

#include "tests/couch/CurlMultiFaults.h"
#include "tests/couch/ListenerFixture.h"
#include "tests/support/CurlTrace.h"

namespace qx::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What happens when libcurl itself refuses, and how often it is asked.
class ChangesListenerCoreTest : public ListenerFixture {
 protected:
  static FeedEvent SetUrlError() { return Event(Listener::CM_ListenStopedDueToError, "shop", 3, "set url error"); }

  CurlMultiFaults faults;
  CurlTrace trace;
};

TEST_F(ChangesListenerCoreTest, WithoutAFeedOnePassIsMade) {
  listener.updateListener(60000);
  EXPECT_EQ(faults.performs, 3u);
  EXPECT_EQ(faults.reads, 1u);
}

TEST_F(ChangesListenerCoreTest, WithoutTrafficOnePassIsMade) {
  server.queue(Feed().hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening));
  listener.updateListener(0);
  faults.performs = 0;
  listener.updateListener(60000);
  EXPECT_EQ(faults.performs, 3u);
}

/// A feed whose answer lies in the socket and was not read yet.
class WaitingTrafficTest : public ChangesListenerCoreTest {
 protected:
  void SetUp() override {
    const Gate asked;
    const Gate sent;
    server.queue(Reply::Raw("").waitFor(asked).send(Reply::HttpText(200, ChangeLine(4, "a"))).waitFor(sent).hold());
    start("shop");
    ASSERT_TRUE(pumpUntilRequests(1));
    asked.open();
    ASSERT_TRUE(sent.waitForArrivals(1));
    faults.performs = 0;
  }
};

TEST_F(WaitingTrafficTest, PassesGoOnUntilOneBringsNothing) {
  server.queue(Feed().hold());
  listener.updateListener(60000);
  EXPECT_GE(faults.performs, 6u);
  EXPECT_EQ(recorder.count(Listener::CM_NewChange), 1u);
}

TEST_F(WaitingTrafficTest, PassesEndWhenTheTimeIsSpent) {
  listener.updateListener(0);
  EXPECT_EQ(faults.performs, 3u);
  EXPECT_EQ(recorder.count(Listener::CM_NewChange), 1u);
}

TEST_F(ChangesListenerCoreTest, ARefusedOptionIsLoggedAndTheFeedIsFollowedAllTheSame) {
  trace.failOption(CURLOPT_VERBOSE, 48);
  trace.failOption(CURLOPT_SSLVERSION, 3);
  server.queue(Feed().hold());
  EXPECT_TRUE(start("shop"));
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Cdb change listener curl error 51")));
  EXPECT_TRUE(pumpUntil(Listener::CM_Listening));
}

TEST_F(ChangesListenerCoreTest, ARefusedUrlIsLoggedAndReported) {
  trace.failOption(CURLOPT_URL, 43);
  start("shop", 3, 3600);
  listener.updateListener(0);
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Fail to set url 43")));
  EXPECT_THAT(recorder.events, ElementsAre(SetUrlError()));
}

TEST_F(ChangesListenerCoreTest, ARefusedHandleIsLoggedAndReported) {
  faults.addCode = 7;
  start("shop", 3, 3600);
  listener.updateListener(0);
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Fail to add easy handle 7")));
  EXPECT_THAT(recorder.events, ElementsAre(SetUrlError()));
}

TEST_F(ChangesListenerCoreTest, AFeedThatCouldNotBeArmedIsArmedAfterItsDelay) {
  faults.addCode = 7;
  start("shop");
  listener.updateListener(0);
  faults.addCode = 0;
  listener.updateListener(0);
  ASSERT_GE(recorder.events.size(), 2u);
  EXPECT_EQ(recorder.events[0], SetUrlError());
  EXPECT_EQ(recorder.events[1], Starting("shop", 3));
}

TEST_F(ChangesListenerCoreTest, AFailureOfThePassIsLoggedThreeTimesAndThePassGoesOn) {
  faults.performCode = 4;
  listener.updateListener(0);
  const CapturedLine line = Error("Multi perform error 4");
  EXPECT_THAT(log.getLines(), ElementsAre(line, line, line));
  EXPECT_EQ(faults.reads, 1u);
}

TEST_F(ChangesListenerCoreTest, AHandleThatCannotBeRemovedIsLogged) {
  server.queue(Reply::Json(404, ""));
  start("shop", -1, 3600);
  faults.removeCode = 2;
  ASSERT_TRUE(pumpUntil(Listener::CM_ListenStopedDbMissing));
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Fail to remove handle 2")));
}

TEST_F(ChangesListenerCoreTest, AnUnknownHandleIsLoggedAndEndsTheReading) {
  const http::impl::CurlEasyPtr stranger = http::impl::CreateEasyHandle();
  faults.unknownHandle = stranger.get();
  listener.updateListener(0);
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Unknown easy handle")));
  EXPECT_EQ(faults.reads, 1u);
}

TEST_F(ChangesListenerCoreTest, AMultiHandleThatCannotBeReleasedIsLogged) {
  faults.cleanupCode = 1;
  { const Listener shortLived; }
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Error (1) while releasing curl multi handle")));
}

TEST_F(ChangesListenerCoreTest, StoppingIgnoresWhatRemovingTheHandleSays) {
  server.queue(Feed().hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening));
  faults.removeCode = 2;
  EXPECT_TRUE(listener.stopListeningDb("shop"));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(ChangesListenerCoreTest, AFeedKeepsItsHandleThroughAllItsConnections) {
  server.setHandler([](const Request&) { return Reply::Json(200, "\n"); });
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_StartListening, 3));
  set<void*> handles;
  for (const CurlCall& call : trace.getCalls()) handles.insert(call.handle);
  EXPECT_EQ(handles.size(), 1u);
  EXPECT_EQ(trace.getValues("HTTPHEADER").size(), 1u);
  EXPECT_GE(trace.getValues("URL").size(), 3u);
}

}  // namespace
}  // namespace qx::test
