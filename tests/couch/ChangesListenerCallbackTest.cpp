#include "netweft/couch/ChangesListener.h"
#include "tests/couch/ListenerFixture.h"

#include <stdexcept>

namespace qx::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto sChange = couch::ChangesListener::CM_NewChange;
constexpr auto sError = couch::ChangesListener::CM_ListenStopedDueToError;
const string sWriteError = "Curl error (Failed writing received data to disk/application) while listening change feed";

/// What a callback may do to the listener that called it.
class ListenerCallbackTest : public ListenerFixture {
 protected:
  /// Does `action` when a message comes from a database, once.
  void onFirst(Listener::CallbackMsg msg, const string& db, std::function<void()> action) {
    recorder.onEvent = [msg, db, action, isDone = false](const FeedEvent& event) mutable {
      if (isDone || event.msg != msg || event.param.dbName != db) return;
      isDone = true;
      action();
    };
  }
  void answerEachFeedWith(const string& lines) {
    server.setHandler([lines](const Request&) { return Feed().sendChunk(lines).hold(); });
  }
  vector<string> changedIds() const {
    vector<string> ids;
    for (const FeedEvent& event : recorder.events) {
      if (event.msg == sChange) ids.push_back(event.param.docId);
    }
    return ids;
  }
};

TEST_F(ListenerCallbackTest, AFeedStoppedByItsOwnChangeIsToldNothingMore) {
  answerEachFeedWith(ChangeLine(4, "a") + ChangeLine(5, "b"));
  onFirst(sChange, "shop", [this] { EXPECT_TRUE(listener.stopListeningDb("shop")); });
  start("shop");
  ASSERT_TRUE(pumpUntil([this] { return server.getClosedConnections() == 1; }));
  EXPECT_THAT(changedIds(), ElementsAre("a"));
  EXPECT_FALSE(listener.isListeningDb("shop"));
  EXPECT_EQ(recorder.events.back().msg, sChange);
}

TEST_F(ListenerCallbackTest, AFeedMayBeStoppedByAnyOfItsMessages) {
  server.setHandler([](const Request& request) {
    if (request.target == "/missing") return Reply::Json(404, "");
    if (request.target.starts_with("/error/")) return Reply::Json(401, "{\"error\":\"x\"}\n");
    if (request.target.starts_with("/heartbeat/")) return Feed().sendChunk("\n").hold();
    if (request.target.starts_with("/broken/")) return Feed().sendChunk("{").reset();
    if (request.target.starts_with("/nothing/")) return Reply::Raw("").close();
    return Feed().sendChunk("{\"type\":\"created\",\"db_name\":\"x\"}\n").hold();
  });
  const map<string, Listener::CallbackMsg> messages = {{"starting", Listener::CM_StartListening},
                                                       {"listening", Listener::CM_Listening},
                                                       {"heartbeat", Listener::CM_Heartbeat},
                                                       {"missing", Listener::CM_ListenStopedDbMissing},
                                                       {"error", sError},
                                                       {"broken", sError},
                                                       {"nothing", Listener::CM_FailToStartListening}};
  for (const auto& entry : messages) {
    const string& db = entry.first;
    bool stopped = false;
    onFirst(entry.second, db, [&] { stopped = listener.stopListeningDb(db); });
    start(db, db == "missing" ? -1 : 3);
    EXPECT_TRUE(pumpUntil([&] { return stopped; })) << db;
    recorder.events.clear();
    listener.updateListener(0);
    EXPECT_THAT(recorder.events, IsEmpty()) << db;
  }
  EXPECT_TRUE(server.waitForOpenConnections(0));
}

TEST_F(ListenerCallbackTest, TheServersFeedMayBeStoppedByItsOwnMessage) {
  answerEachFeedWith("{\"type\":\"created\",\"db_name\":\"x\"}\n{\"type\":\"deleted\",\"db_name\":\"x\"}\n");
  onFirst(Listener::CM_DbCreated, "x", [this] { listener.stopListeningDb(""); });
  start("", 0);
  ASSERT_TRUE(pumpUntil([this] { return server.getClosedConnections() == 1; }));
  EXPECT_EQ(recorder.count(Listener::CM_DbDeleted), 0u);
}

TEST_F(ListenerCallbackTest, AFeedMayStopAnother) {
  answerEachFeedWith(ChangeLine(4, "a"));
  start("a");
  start("b");
  onFirst(sChange, "a", [this] { EXPECT_TRUE(listener.stopListeningDb("b")); });
  ASSERT_TRUE(pumpUntil(sChange));
  ASSERT_TRUE(pumpUntil([this] { return server.getOpenConnections() == 1; }));
  EXPECT_TRUE(listener.isListeningDb("a"));
  EXPECT_FALSE(listener.isListeningDb("b"));
}

TEST_F(ListenerCallbackTest, AFeedMayStopAllWhileTheTicksGoOverThem) {
  answerNothing();
  for (const char* db : {"a", "b", "c", "d"}) start(db);
  onFirst(Listener::CM_StartListening, "b", [this] {
    for (const char* db : {"a", "b", "c", "d"}) listener.stopListeningDb(db);
  });
  listener.updateListener(0);
  EXPECT_THAT(recorder.events, ElementsAre(Starting("a", 3), Starting("b", 3)));
}

TEST_F(ListenerCallbackTest, AFeedStartedByACallbackBeginsInTheSamePassOrTheNext) {
  answerEachFeedWith("\n");
  start("b");
  onFirst(Listener::CM_StartListening, "b", [this] {
    EXPECT_TRUE(start("a"));
    EXPECT_TRUE(start("c"));
  });
  ASSERT_TRUE(pumpUntil(Listener::CM_Heartbeat, 3));
}

TEST_F(ListenerCallbackTest, AFeedMayBeStoppedAndStartedAnewByItsOwnChange) {
  server.queue(Feed().sendChunk(ChangeLine(4, "a") + ChangeLine(5, "b")).hold());
  server.queue(Feed().sendChunk(ChangeLine(101, "c")).hold());
  onFirst(sChange, "shop", [this] {
    EXPECT_TRUE(listener.stopListeningDb("shop"));
    EXPECT_TRUE(start("shop", 100));
  });
  start("shop");
  ASSERT_TRUE(pumpUntil(sChange, 2));
  EXPECT_THAT(changedIds(), ElementsAre("a", "c"));
  EXPECT_TRUE(server.getRequest(1).target.ends_with("&since=100"));
}

TEST_F(ListenerCallbackTest, TheListenerCanBeAskedFromACallback) {
  answerEachFeedWith(ChangeLine(4, "a"));
  set<string> names;
  onFirst(sChange, "shop", [&] {
    listener.getListenedDb(names);
    EXPECT_TRUE(listener.isListeningDb("shop"));
    EXPECT_FALSE(listener.setConnectionParameters(Url("http://other.example")));
  });
  start("shop");
  ASSERT_TRUE(pumpUntil(sChange));
  EXPECT_THAT(names, ElementsAre("shop"));
}

TEST_F(ListenerCallbackTest, UpdatingFromACallbackDoesNothing) {
  answerNothing();
  onFirst(Listener::CM_StartListening, "a", [this] { listener.updateListener(1000); });
  start("a");
  start("b");
  listener.updateListener(0);
  EXPECT_THAT(recorder.events, ElementsAre(Starting("a", 3), Starting("b", 3)));
}

class ListenerPauseInCallbackTest : public ListenerCallbackTest {
 protected:
  /// Two pieces that are read at once; the first one's change pauses the feed.
  void pauseBetween(const string& firstLine, const string& secondLine) {
    server.queue(Reply::Raw(Reply::HeadText(200, {{"Transfer-Encoding", "chunked"}}) + Reply::ChunkText(firstLine) +
                            Reply::ChunkText(secondLine))
                     .hold());
    onFirst(sChange, "shop", [this] { listener.pauseListeningDb("shop", true); });
    start("shop", 3, 3600);
    ASSERT_TRUE(pumpUntil(sChange));
    listener.updateListener(0);
    ASSERT_THAT(changedIds(), ElementsAre("a"));
  }
};

TEST_F(ListenerPauseInCallbackTest, LinesOfTheSamePieceAreStillReported) {
  answerEachFeedWith(ChangeLine(4, "a") + ChangeLine(5, "b"));
  onFirst(sChange, "shop", [this] { listener.pauseListeningDb("shop", true); });
  start("shop");
  ASSERT_TRUE(pumpUntil(sChange));
  EXPECT_THAT(changedIds(), ElementsAre("a", "b"));
}

TEST_F(ListenerPauseInCallbackTest, WhatWasReadBeforeIsReportedWhenThePauseIsLifted) {
  pauseBetween(ChangeLine(4, "a"), ChangeLine(5, "b"));
  EXPECT_TRUE(listener.pauseListeningDb("shop", false));
  EXPECT_THAT(changedIds(), ElementsAre("a", "b"));
}

TEST_F(ListenerPauseInCallbackTest, AnErrorLineReadBeforeEndsTheTransferWhenThePauseIsLifted) {
  pauseBetween(ChangeLine(4, "a"), "{\"error\":\"x\"}\n");
  EXPECT_TRUE(listener.pauseListeningDb("shop", false));
  EXPECT_EQ(recorder.events.back(), Event(sError, "shop", 4, "Change feed error : x"));
  EXPECT_TRUE(server.waitForClosedConnections(1));
}

TEST_F(ListenerPauseInCallbackTest, AnExceptionLeavesTheCallThatLiftsThePause) {
  pauseBetween(ChangeLine(4, "a"), ChangeLine(5, "b"));
  onFirst(sChange, "shop", [] { throw std::runtime_error("enough"); });
  EXPECT_THROW(listener.pauseListeningDb("shop", false), std::runtime_error);
  EXPECT_EQ(recorder.events.back(), Event(sError, "shop", 5, sWriteError));
  EXPECT_TRUE(server.waitForClosedConnections(1));
}

TEST_F(ListenerPauseInCallbackTest, AFeedMayBeStoppedByWhatIsReportedWhenThePauseIsLifted) {
  pauseBetween(ChangeLine(4, "a"), ChangeLine(5, "b"));
  onFirst(sChange, "shop", [this] { listener.stopListeningDb("shop"); });
  EXPECT_TRUE(listener.pauseListeningDb("shop", false));
  EXPECT_FALSE(listener.isListeningDb("shop"));
  EXPECT_TRUE(server.waitForClosedConnections(1));
}

TEST_F(ListenerPauseInCallbackTest, APauseCanBeLiftedByAnotherFeed) {
  pauseBetween(ChangeLine(4, "a"), "{\"error\":\"x\"}\n");
  onFirst(Listener::CM_StartListening, "other", [this] { listener.pauseListeningDb("shop", false); });
  start("other");
  ASSERT_TRUE(pumpUntil(sError));
  EXPECT_TRUE(server.waitForClosedConnections(1));
}

class ListenerExceptionTest : public ListenerCallbackTest {
 protected:
  /// The text of what `updateListener` throws, driven until it throws.
  string pumpUntilThrow() {
    try {
      EXPECT_FALSE(pumpUntil([] { return false; }));
    } catch (const std::exception& error) {
      return error.what();
    }
    return "nothing was thrown";
  }
  static void Throw() { throw std::runtime_error("enough"); }
};

TEST_F(ListenerExceptionTest, AnExceptionOfAChangeReachesTheCallerAndEndsTheTransfer) {
  server.queue(Feed().sendChunk(ChangeLine(4, "a") + ChangeLine(5, "b")).hold());
  onFirst(sChange, "shop", Throw);
  start("shop", 3, 3600);
  EXPECT_EQ(pumpUntilThrow(), "enough");
  EXPECT_THAT(recorder.events, ElementsAre(Starting("shop", 3), Listening("shop", 3), Change("shop", 4, "a", {"1-a"}),
                                           Event(sError, "shop", 4, sWriteError)));
  EXPECT_TRUE(server.waitForClosedConnections(1));
  EXPECT_TRUE(listener.isListeningDb("shop"));
}

TEST_F(ListenerExceptionTest, TheFeedGoesOnBehindTheChangeThatThrew) {
  server.queue(Feed().sendChunk(ChangeLine(4, "a")).hold());
  server.queue(Feed().sendChunk(ChangeLine(5, "b")).hold());
  onFirst(sChange, "shop", Throw);
  start("shop");
  EXPECT_EQ(pumpUntilThrow(), "enough");
  ASSERT_TRUE(pumpUntil(sChange, 2));
  EXPECT_TRUE(server.getRequest(1).target.ends_with("&since=4"));
}

TEST_F(ListenerExceptionTest, AnExceptionOutsideATransferLeavesTheFeedInItsPlace) {
  answerEachFeedWith(ChangeLine(4, "a"));
  onFirst(Listener::CM_StartListening, "shop", Throw);
  start("shop");
  EXPECT_EQ(pumpUntilThrow(), "enough");
  ASSERT_TRUE(pumpUntil(sChange));
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(ListenerExceptionTest, AnExceptionOfAFailureReportDoesNotKeepTheFeedFromWaiting) {
  const RefusingPort nobody;
  listener.setConnectionParameters(Url(nobody.getUrl("")));
  onFirst(Listener::CM_FailToStartListening, "shop", Throw);
  start("shop", 3, 3600);
  EXPECT_EQ(pumpUntilThrow(), "enough");
  listener.updateListener(0);
  EXPECT_EQ(recorder.count(Listener::CM_StartListening), 1u);
}

TEST_F(ListenerExceptionTest, ExceptionsOfTwoFeedsLeaveTwoCalls) {
  answerNothing();
  start("a");
  start("b");
  recorder.onEvent = [](const FeedEvent& event) { throw std::runtime_error(event.param.dbName); };
  vector<string> thrown;
  for (int i = 0; i < 2; ++i) thrown.push_back(pumpUntilThrow());
  EXPECT_THAT(thrown, testing::UnorderedElementsAre("a", "b"));
}

TEST_F(ListenerExceptionTest, AFeedThatStopsItselfAndThrowsIsGoneAndHeard) {
  answerEachFeedWith(ChangeLine(4, "a"));
  onFirst(sChange, "shop", [this] {
    listener.stopListeningDb("shop");
    Throw();
  });
  start("shop");
  EXPECT_EQ(pumpUntilThrow(), "enough");
  EXPECT_FALSE(listener.isListeningDb("shop"));
  EXPECT_TRUE(server.waitForClosedConnections(1));
}

TEST_F(ListenerExceptionTest, TheOtherFeedsEndTheirPass) {
  answerNothing();
  start("a");
  start("b");
  onFirst(Listener::CM_StartListening, "a", Throw);
  EXPECT_THROW(listener.updateListener(0), std::runtime_error);
  EXPECT_THAT(recorder.events, ElementsAre(Starting("a", 3), Starting("b", 3)));
}

TEST_F(ListenerExceptionTest, AShortNameOfADesignDocumentIsOutOfRange) {
  server.queue(Feed().sendChunk("{\"type\":\"ddoc_updated\",\"db_name\":\"abc\"}\n").hold());
  start("", 0, 3600);
  try {
    EXPECT_FALSE(pumpUntil([] { return false; }));
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "invalid string position");
  }
  EXPECT_THAT(recorder.events, ElementsAre(Starting("", 0), Listening("", 0), Event(sError, "", 0, sWriteError)));
  EXPECT_TRUE(server.waitForClosedConnections(1));
}

}  // namespace
}  // namespace qx::test
