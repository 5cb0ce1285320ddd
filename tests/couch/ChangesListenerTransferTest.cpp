#include "netweft/couch/ChangesListener.h"
#include "tests/couch/ListenerFixture.h"
#include "tests/support/TestCertificates.h"

#include <cstdlib>

/// The listener's feeds on their connections: how they break, many at once, held back, through TLS.
namespace qx::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto sError = couch::ChangesListener::CM_ListenStopedDueToError;

/// How a connection comes to its end, and what the feed says to it.
class BrokenFeedTest : public ListenerFixture {
 protected:
  void expectIssue(const string& words) {
    EXPECT_EQ(log.getLines(LT_Warning).at(0),
              Warning("Couch changes listener connection issue (" + words + "), will retry in a few moment"));
  }
};

TEST_F(BrokenFeedTest, ARefusedConnectionFailsToStart) {
  const RefusingPort nobody;
  listener.setConnectionParameters(Url(nobody.getUrl("")));
  start("shop", 3, 3600);
  ASSERT_TRUE(pumpUntilEvents(2));
  EXPECT_THAT(recorder.events, ElementsAre(Starting("shop", 3),
                                           Event(Listener::CM_FailToStartListening, "shop", 3, "connection issue")));
  expectIssue("Couldn't connect to server");
}

TEST_F(BrokenFeedTest, ARefusedConnectionOfTheGetIsAnError) {
  const RefusingPort nobody;
  listener.setConnectionParameters(Url(nobody.getUrl("")));
  start("shop", -1, 3600);
  ASSERT_TRUE(pumpUntilEvents(1));
  EXPECT_THAT(recorder.events, ElementsAre(Event(sError, "shop", -1, "connection issue")));
  expectIssue("Couldn't connect to server");
}

TEST_F(BrokenFeedTest, AResetWhileListeningIsAConnectionIssue) {
  server.queue(Feed().sendChunk(ChangeLine(4, "a")).reset());
  start("shop", 3, 3600);
  ASSERT_TRUE(pumpUntilEvents(4));
  EXPECT_EQ(recorder.events.back(), Event(sError, "shop", 4, "connection issue"));
  expectIssue("Failure when receiving data from the peer");
}

TEST_F(BrokenFeedTest, AnEndInsideTheChunksIsAConnectionIssue) {
  server.queue(Feed().sendChunk(ChangeLine(4, "a")).close());
  start("shop", 3, 3600);
  ASSERT_TRUE(pumpUntilEvents(4));
  EXPECT_EQ(recorder.events.back(), Event(sError, "shop", 4, "connection issue"));
  expectIssue("Transferred a partial file");
}

TEST_F(BrokenFeedTest, AnEndWithoutAnAnswerFailsToStart) {
  server.queueConnection(Reply::Raw("").awaitText("\r\n\r\n").close());
  start("shop", 3, 3600);
  ASSERT_TRUE(pumpUntilEvents(2));
  EXPECT_EQ(recorder.events.back(),
            Event(Listener::CM_FailToStartListening, "shop", 3,
                  "Curl error (Server returned nothing (no headers, no data)) while listening change feed"));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(BrokenFeedTest, AnAnswerThatIsNoHttpIsAnErrorByItsWords) {
  server.queueConnection(Reply::Raw("HTTP/9.9 nonsense\r\n\r\n").hold());
  start("shop", -1, 3600);
  ASSERT_TRUE(pumpUntilEvents(1));
  EXPECT_EQ(recorder.events.back(),
            Event(sError, "shop", -1, "Curl error (Unsupported protocol) while retrieving update seq"));
}

class ManyFeedsTest : public ListenerFixture {};

TEST_F(ManyFeedsTest, TwoFeedsAreFollowedAtOnce) {
  server.setHandler([](const Request& request) {
    const bool isFirst = request.target.starts_with("/a/");
    return Feed().sendChunk(ChangeLine(isFirst ? 10 : 20, isFirst ? "of a" : "of b")).hold();
  });
  start("a", 1);
  start("b", 2);
  ASSERT_TRUE(pumpUntil(Listener::CM_NewChange, 2));
  const FeedEvent ofA = Change("a", 10, "of a", {"1-a"});
  const FeedEvent ofB = Change("b", 20, "of b", {"1-a"});
  EXPECT_THAT(recorder.events, testing::IsSupersetOf({ofA, ofB}));
}

TEST_F(ManyFeedsTest, ABrokenFeedLeavesTheOthersAlone) {
  server.setHandler([](const Request& request) {
    if (request.target.starts_with("/bad/")) return Reply::Json(404, "{\"error\":\"x\",\"reason\":\"no_db_file\"}\n");
    return Feed().sendChunk(ChangeLine(10, "a")).hold();
  });
  start("bad", 1, 3600);
  start("good", 2, 3600);
  ASSERT_TRUE(pumpUntil([this] {
    return recorder.count(Listener::CM_NewChange) == 1 && recorder.count(Listener::CM_ListenStopedDbMissing) == 1;
  }));
}

TEST_F(ManyFeedsTest, AHundredFeedsRunOnOneListener) {
  server.setHandler([](const Request&) { return Feed().sendChunk(ChangeLine(10, "a")).hold(); });
  for (int i = 0; i < 100; ++i) start("db" + std::to_string(i), 1);
  EXPECT_TRUE(pumpUntil(Listener::CM_NewChange, 100));
  EXPECT_EQ(server.getAcceptedConnections(), 100u);
}

TEST_F(ManyFeedsTest, TheServersFeedTellsOfDatabases) {
  server.queue(Feed()
                   .sendChunk("{\"db_name\":\"shop\",\"type\":\"created\",\"seq\":\"1-x\"}\n")
                   .sendChunk("\n")
                   .sendChunk("{\"db_name\":\"shop\",\"type\":\"deleted\"}\n")
                   .hold());
  start("", 12);
  ASSERT_TRUE(pumpUntil(Listener::CM_DbDeleted));
  EXPECT_EQ(server.getRequest(0).target, "/_db_updates?feed=continuous&heartbeat=true&timeout=30000");
  EXPECT_THAT(recorder.events,
              ElementsAre(Starting("", 0), Listening("", 0), Event(Listener::CM_DbCreated, "shop", 0),
                          Event(Listener::CM_Heartbeat, "", 0), Event(Listener::CM_DbDeleted, "shop", 0)));
}

TEST_F(ManyFeedsTest, AFeedByteByByteIsTheSameFeed) {
  const string body = Reply::ChunkText("\n" + ChangeLine(4, "a")) + Reply::ChunkText(ChangeLine(5, "b\xC3\xA9"));
  server.queue(Feed().sendInPieces(body, 1).hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_NewChange, 2));
  std::erase_if(recorder.events, [](const FeedEvent& event) { return event.msg == Listener::CM_Heartbeat; });
  EXPECT_THAT(recorder.events, ElementsAre(Starting("shop", 3), Listening("shop", 3), Change("shop", 4, "a", {"1-a"}),
                                           Change("shop", 5, "b\xC3\xA9", {"1-a"})));
}

TEST_F(ManyFeedsTest, AFeedWithoutACallbackIsFollowed) {
  server.queue(Feed().sendChunk(ChangeLine(8, "a")).endChunks());
  server.queue(Feed().hold());
  listener.startListeningDb("shop", 3, nullptr, nullptr, Listener::RC_ChangesOnly, 10, 30, 3600);
  ASSERT_TRUE(pumpUntilRequests(2));
  EXPECT_EQ(server.getRequest(1).target, "/shop/_changes?feed=continuous&heartbeat=30000&since=8");
}

class PausedFeedTest : public ListenerFixture {
 protected:
  /// Long enough for a line on loopback to be read many times over.
  void pumpForAWhile() {
    for (int i = 0; i < 50; ++i) {
      listener.updateListener(0);
      qxThread::msleep(1);
    }
  }
};

TEST_F(PausedFeedTest, APausedFeedIsNotReadUntilItIsResumed) {
  const Gate gate;
  server.queue(Feed().sendChunk(ChangeLine(4, "a")).waitFor(gate).sendChunk(ChangeLine(5, "b")).hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_NewChange));
  EXPECT_TRUE(listener.pauseListeningDb("shop", true));
  gate.open();
  pumpForAWhile();
  EXPECT_EQ(recorder.count(Listener::CM_NewChange), 1u);
  EXPECT_TRUE(listener.pauseListeningDb("shop", false));
  EXPECT_TRUE(pumpUntil(Listener::CM_NewChange, 2));
}

TEST_F(PausedFeedTest, APauseHoldsBackItsOwnFeedAlone) {
  const Gate gate;
  server.setHandler([gate](const Request&) { return Feed().waitFor(gate).sendChunk(ChangeLine(5, "x")).hold(); });
  start("a");
  start("b");
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening, 2));
  listener.pauseListeningDb("a", true);
  gate.open();
  ASSERT_TRUE(pumpUntil(Listener::CM_NewChange));
  pumpForAWhile();
  EXPECT_EQ(recorder.events.back(), Change("b", 5, "x", {"1-a"}));
  EXPECT_EQ(recorder.count(Listener::CM_NewChange), 1u);
}

TEST_F(PausedFeedTest, AFeedThatHasNotBegunCanBePausedAndResumed) {
  server.queue(Feed().hold());
  start("shop");
  EXPECT_TRUE(listener.pauseListeningDb("shop", true));
  EXPECT_TRUE(listener.pauseListeningDb("shop", false));
  EXPECT_TRUE(pumpUntil(Listener::CM_Listening));
}

TEST_F(PausedFeedTest, APausedFeedCanBeStopped) {
  server.queue(Feed().hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening));
  listener.pauseListeningDb("shop", true);
  EXPECT_TRUE(listener.stopListeningDb("shop"));
  EXPECT_TRUE(server.waitForClosedConnections(1));
}

class ListenerConnectionTest : public ListenerFixture {
 protected:
  static ScriptedServerOptions WithTls(TlsIdentity identity) {
    ScriptedServerOptions options;
    options.tls = std::move(identity);
    return options;
  }
};

TEST_F(ListenerConnectionTest, CertificatesAreNotVerified) {
  ScriptedServer secure(WithTls(TestCertificates::CreateSelfSigned()));
  secure.queue(Feed().sendChunk(ChangeLine(4, "a")).hold());
  listener.setConnectionParameters(Url(secure.getUrlFor("127.0.0.1", "")));
  start("shop");
  EXPECT_TRUE(pumpUntil(Listener::CM_NewChange));
}

TEST_F(ListenerConnectionTest, TlsBelowOnePointTwoIsRefused) {
  ScriptedServerOptions options = WithTls(TestCertificates::CreateSelfSigned());
  options.isTls11 = true;
  ScriptedServer old(options);
  listener.setConnectionParameters(Url(old.getUrlFor("127.0.0.1", "")));
  start("shop", 3, 3600);
  ASSERT_TRUE(pumpUntilEvents(2));
  EXPECT_EQ(recorder.events.back(), Event(Listener::CM_FailToStartListening, "shop", 3,
                                          "Curl error (SSL connect error) while listening change feed"));
}

TEST_F(ListenerConnectionTest, AProxyOfTheEnvironmentIsNotUsed) {
  const RefusingPort nobody;
  ::setenv("http_proxy", nobody.getUrl("").c_str(), 1);
  server.queue(Feed().hold());
  start("shop");
  EXPECT_TRUE(pumpUntil(Listener::CM_Listening));
  ::unsetenv("http_proxy");
}

TEST_F(ListenerConnectionTest, CookiesOfTheServerComeBack) {
  server.queue(Reply::Stream(200, {{"Set-Cookie", "a=b"}}).endChunks());
  server.queue(Feed().hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening, 2));
  EXPECT_EQ(server.getRequest(1).getHeader("Cookie"), "a=b");
}

}  // namespace
}  // namespace qx::test
