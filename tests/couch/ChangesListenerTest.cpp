#include "netweft/couch/ChangesListener.h"

#include "tests/couch/ListenerFixture.h"

#include <type_traits>

namespace qx::test {
namespace {

using couch::ChangesListener;
using couch::CouchConnectionParameters;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::is_copy_constructible_v<ChangesListener> && !std::is_copy_assignable_v<ChangesListener>);
static_assert(sizeof(ChangesListener) == sizeof(void*));
static_assert(std::is_copy_constructible_v<ChangesListener::CallbackParam> &&
              std::is_nothrow_move_constructible_v<ChangesListener::CallbackParam>);
static_assert(ChangesListener::RC_ChangesOnly == 0 && ChangesListener::RC_IncludeDocs == 1 &&
              ChangesListener::RC_IncludeDocsAndConflicts == 2);

constexpr auto sError = ChangesListener::CM_ListenStopedDueToError;

TEST(CallbackParamTest, ItsFieldsStandInTheirOrder) {
  const ChangesListener::CallbackParam param{"db", "doc", {"1-a"}, "text", 12, true};
  const auto& [dbName, docId, revisions, errorMessage, seq, deleted] = param;
  EXPECT_EQ(&dbName, &param.dbName);
  EXPECT_EQ(&docId, &param.docId);
  EXPECT_EQ(&revisions, &param.revisions);
  EXPECT_EQ(&errorMessage, &param.errorMessage);
  EXPECT_EQ(&seq, &param.seq);
  EXPECT_EQ(&deleted, &param.deleted);
}

TEST(CallbackMsgToStringTest, EachMessageHasItsNumberAndItsName) {
  const vector<string> names = {"CM_ListenStopedDueToError",
                                "CM_ListenStopedDbMissing",
                                "CM_FailToStartListening",
                                "CM_StartListening",
                                "CM_Listening",
                                "CM_NewChange",
                                "CM_DbCreated",
                                "CM_DbDeleted",
                                "CM_DbUpdated",
                                "CM_DbDesignDocUpdated",
                                "CM_Heartbeat"};
  for (size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(ChangesListener::CallbackMsgToString(static_cast<ChangesListener::CallbackMsg>(i)), names[i]);
  }
  EXPECT_EQ(ChangesListener::CM_Heartbeat, 10);
}

TEST(CallbackMsgToStringTest, AnyOtherNumberIsUnknown) {
  EXPECT_EQ(ChangesListener::CallbackMsgToString(static_cast<ChangesListener::CallbackMsg>(11)),
            "Unknown CallbackMsg enum");
  EXPECT_EQ(ChangesListener::CallbackMsgToString(static_cast<ChangesListener::CallbackMsg>(-1)),
            "Unknown CallbackMsg enum");
}

class ChangesListenerTest : public ListenerFixture {};

TEST_F(ChangesListenerTest, TheRequestOfAFeedOnTheWire) {
  server.queue(Feed().hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening));
  EXPECT_EQ(server.getRequest(0).raw,
            "GET /shop/_changes?feed=continuous&heartbeat=30000&since=3 HTTP/1.1\r\n"
            "Host: 127.0.0.1:" +
                std::to_string(server.getPort()) + "\r\nAccept:application/json\r\n\r\n");
}

TEST_F(ChangesListenerTest, ContentIsAskedForOnTheWire) {
  server.queue(Feed().hold());
  listener.startListeningDb("shop", 0, nullptr, nullptr, Listener::RC_IncludeDocsAndConflicts, 10, 30, 1);
  ASSERT_TRUE(pumpUntilRequests(1));
  EXPECT_EQ(server.getRequest(0).target,
            "/shop/_changes?feed=continuous&include_docs=true&conflicts=true&heartbeat=30000&since=0");
}

TEST_F(ChangesListenerTest, ADatabaseNameIsEscapedOnTheWire) {
  server.queue(Feed().sendChunk(ChangeLine(4, "a")).hold());
  const string name = "a/b c+\xC3\xA9";
  start(name, 0);
  ASSERT_TRUE(pumpUntil(Listener::CM_NewChange));
  EXPECT_EQ(server.getRequest(0).target, "/a%2Fb%20c%2B%C3%A9/_changes?feed=continuous&heartbeat=30000&since=0");
  EXPECT_EQ(recorder.events.back().param.dbName, name);
}

TEST_F(ChangesListenerTest, DatabasesNamedByDotsAreNotFolded) {
  server.queue(Feed().hold());
  start("..", 0);
  ASSERT_TRUE(pumpUntilRequests(1));
  EXPECT_EQ(server.getRequest(0).target, "/../_changes?feed=continuous&heartbeat=30000&since=0");
}

TEST_F(ChangesListenerTest, CredentialsTravelInTheirHeader) {
  CouchConnectionParameters secured = Url(server.getUrl(""));
  secured.setCredentialsOnHttpHeaders("me", "s:cret");
  ASSERT_TRUE(listener.setConnectionParameters(secured));
  server.queue(Feed().hold());
  start("shop");
  ASSERT_TRUE(pumpUntilRequests(1));
  EXPECT_EQ(server.getRequest(0).getHeader("Authorization"), "Basic bWU6czpjcmV0");
}

TEST_F(ChangesListenerTest, StartingMakesNoTransferAndNoCallback) {
  answerNothing();
  EXPECT_TRUE(start("shop"));
  EXPECT_THAT(recorder.events, IsEmpty());
  listener.updateListener(0);
  EXPECT_THAT(recorder.events, ElementsAre(Starting("shop", 3)));
}

TEST_F(ChangesListenerTest, ChangesFollowTheStart) {
  server.queue(Feed().sendChunk(ChangeLine(4, "a")).sendChunk("\n").sendChunk(ChangeLine(5, "b")).hold());
  start("shop");
  ASSERT_TRUE(pumpUntilEvents(5));
  EXPECT_THAT(recorder.events, ElementsAre(Starting("shop", 3), Listening("shop", 3), Change("shop", 4, "a", {"1-a"}),
                                           Event(Listener::CM_Heartbeat, "shop", 4), Change("shop", 5, "b", {"1-a"})));
}

TEST_F(ChangesListenerTest, HeadersAloneBeginTheListening) {
  const Gate gate;
  server.queue(Reply::Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n").waitFor(gate).send("\r\n").hold());
  start("shop");
  ASSERT_TRUE(pumpUntilRequests(1));
  ASSERT_TRUE(gate.waitForArrivals(1));
  listener.updateListener(0);
  EXPECT_EQ(recorder.count(Listener::CM_Listening), 0u);
  gate.open();
  EXPECT_TRUE(pumpUntil(Listener::CM_Listening));
}

TEST_F(ChangesListenerTest, ANegativeSinceIsReadFromTheDatabaseFirst) {
  server.queue(Reply::Json(200, R"({"db_name":"shop","update_seq":41})"));
  server.queue(Feed().hold());
  start("shop", -1);
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening));
  EXPECT_EQ(server.getRequest(0).line, "GET /shop HTTP/1.1");
  EXPECT_EQ(server.getRequest(1).line, "GET /shop/_changes?feed=continuous&heartbeat=30000&since=41 HTTP/1.1");
  EXPECT_THAT(recorder.events, ElementsAre(Starting("shop", 41), Listening("shop", 41)));
}

TEST_F(ChangesListenerTest, TheFeedUsesTheConnectionOfTheGet) {
  server.queue(Reply::Json(200, R"({"update_seq":41})"));
  server.queue(Feed().hold());
  start("shop", -1);
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening));
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(ChangesListenerTest, AMissingDatabaseIsAskedForAgainAsLongAsItIsRegistered) {
  server.setHandler([](const Request&) { return Reply::Json(404, R"({"error":"not_found","reason":"no_db_file"})"); });
  start("shop", -1);
  ASSERT_TRUE(pumpUntil(Listener::CM_ListenStopedDbMissing, 3));
  const FeedEvent missing =
      Event(Listener::CM_ListenStopedDbMissing, "shop", -1, "Http error 404 while retrieving update seq");
  EXPECT_THAT(recorder.events, ElementsAre(missing, missing, missing));
  for (const Request& request : server.getRequests()) EXPECT_EQ(request.line, "GET /shop HTTP/1.1");
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(ChangesListenerTest, AFeedThatEndsCleanlyReconnectsFromItsLastSequence) {
  server.queue(Feed().sendChunk(ChangeLine(7, "a")).sendChunk("{\"last_seq\":7}\n").endChunks());
  server.queue(Feed().hold());
  start("shop", 3, 3600);
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening, 2));
  EXPECT_EQ(server.getRequest(1).target, "/shop/_changes?feed=continuous&heartbeat=30000&since=7");
  EXPECT_THAT(recorder.events, ElementsAre(Starting("shop", 3), Listening("shop", 3), Change("shop", 7, "a", {"1-a"}),
                                           Starting("shop", 7), Listening("shop", 7)));
}

TEST_F(ChangesListenerTest, AKnownSequenceIsNotReadAgain) {
  server.queue(Reply::Json(200, R"({"update_seq":0})"));
  server.queue(Feed().sendChunk("half a li").reset());
  server.queue(Feed().hold());
  start("shop", -1);
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening, 2));
  EXPECT_EQ(server.getRequest(2).target, "/shop/_changes?feed=continuous&heartbeat=30000&since=0");
}

TEST_F(ChangesListenerTest, HalfALineIsForgottenWithItsConnection) {
  server.queue(Feed().sendChunk("{\"seq\":9,\"id\":\"half").reset());
  server.queue(Feed().sendChunk(ChangeLine(4, "a")).hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_NewChange));
  EXPECT_EQ(recorder.events.back(), Change("shop", 4, "a", {"1-a"}));
  EXPECT_FALSE(log.contains(LT_Error, "Invalid json"));
}

TEST_F(ChangesListenerTest, ADelayOfOneIsAWaitOfTwoSeconds) {
  const RefusingPort nobody;
  listener.setConnectionParameters(Url(nobody.getUrl("")));
  vector<qxTimer> starts;
  recorder.onEvent = [&starts](const FeedEvent& event) {
    if (event.msg == Listener::CM_StartListening) starts.emplace_back(true);
  };
  start("shop", 3, 1);
  ASSERT_TRUE(pumpUntil(Listener::CM_StartListening, 2));
  EXPECT_GE(starts[0].getElapsedMs() - starts[1].getElapsedMs(), 2000);
}

TEST_F(ChangesListenerTest, ABadSequenceRetriesFromThePreviousOne) {
  server.queue(Feed().sendChunk(ChangeLine(5, "a")).sendChunk("{\"seq\":-1,\"id\":\"b\"}\n").hold());
  server.queue(Feed().hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening, 2));
  EXPECT_THAT(recorder.events, ElementsAre(Starting("shop", 3), Listening("shop", 3), Change("shop", 5, "a", {"1-a"}),
                                           Event(sError, "shop", 5, "Invalid seq id in change feed : '-1'"),
                                           Starting("shop", 5), Listening("shop", 5)));
  EXPECT_TRUE(server.waitForClosedConnections(1));
  EXPECT_EQ(server.getRequest(1).target, "/shop/_changes?feed=continuous&heartbeat=30000&since=5");
}

TEST_F(ChangesListenerTest, RefusedCredentialsComeAsTheServersErrorLine) {
  const string body = "{\"error\":\"unauthorized\",\"reason\":\"Name or password is incorrect.\"}\n";
  server.queue(Reply::Json(401, body));
  server.queue(Feed().hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening, 2));
  EXPECT_THAT(recorder.events, ElementsAre(Starting("shop", 3), Listening("shop", 3),
                                           Event(sError, "shop", 3, "Change feed error : unauthorized"),
                                           Starting("shop", 3), Listening("shop", 3)));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(ChangesListenerTest, AMissingDatabaseComesAsTheServersErrorLine) {
  server.queue(Reply::Json(404, "{\"error\":\"not_found\",\"reason\":\"no_db_file\"}\n"));
  server.queue(Feed().hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening, 2));
  EXPECT_EQ(recorder.events[2], Event(Listener::CM_ListenStopedDbMissing, "shop", 3, "Change feed error : not_found"));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

class ListenerRegistryTest : public ListenerFixture {};

TEST_F(ListenerRegistryTest, ANameIsRegisteredOnce) {
  answerNothing();
  EXPECT_TRUE(start("shop", 3));
  EXPECT_FALSE(start("shop", 9));
  listener.updateListener(0);
  EXPECT_THAT(recorder.events, ElementsAre(Starting("shop", 3)));
  EXPECT_TRUE(listener.stopListeningDb("shop"));
  EXPECT_TRUE(start("shop", 9));
}

TEST_F(ListenerRegistryTest, AnUnknownNameIsNeitherStoppedNorPaused) {
  EXPECT_FALSE(listener.stopListeningDb("shop"));
  EXPECT_FALSE(listener.pauseListeningDb("shop", true));
  EXPECT_FALSE(listener.pauseListeningDb("shop", false));
}

TEST_F(ListenerRegistryTest, TheServerStaysAsLongAsAnyFeedIsRegistered) {
  const CouchConnectionParameters other = Url("http://other.example");
  start("a");
  start("");
  EXPECT_FALSE(listener.setConnectionParameters(other));
  listener.stopListeningDb("a");
  EXPECT_FALSE(listener.setConnectionParameters(other));
  listener.stopListeningDb("");
  EXPECT_TRUE(listener.setConnectionParameters(other));
}

TEST_F(ListenerRegistryTest, ARefusedServerChangesNothing) {
  server.queue(Feed().hold());
  start("shop");
  EXPECT_FALSE(listener.setConnectionParameters(Url("http://127.0.0.1:1")));
  EXPECT_TRUE(pumpUntil(Listener::CM_Listening));
}

TEST_F(ListenerRegistryTest, RegisteredNamesAreListedWithoutTheServersFeed) {
  start("b");
  start("a");
  start("");
  set<string> names = {"left over"};
  listener.getListenedDb(names);
  EXPECT_THAT(names, ElementsAre("a", "b"));
}

TEST_F(ListenerRegistryTest, RegisteredNamesAreKnown) {
  EXPECT_FALSE(listener.isListeningDb("shop"));
  EXPECT_FALSE(listener.isListeningGlobalChangeFeed());
  start("shop");
  EXPECT_TRUE(listener.isListeningDb("shop"));
  EXPECT_FALSE(listener.isListeningDb(""));
  start("");
  EXPECT_TRUE(listener.isListeningDb(""));
  EXPECT_TRUE(listener.isListeningGlobalChangeFeed());
}

TEST_F(ListenerRegistryTest, StoppingClosesTheConnectionWithoutACallback) {
  server.queue(Feed().hold());
  start("shop");
  ASSERT_TRUE(pumpUntil(Listener::CM_Listening));
  recorder.events.clear();
  EXPECT_TRUE(listener.stopListeningDb("shop"));
  EXPECT_TRUE(server.waitForClosedConnections(1));
  listener.updateListener(0);
  EXPECT_THAT(recorder.events, IsEmpty());
}

TEST_F(ListenerRegistryTest, DestructionStopsAllFeedsWithoutACallback) {
  server.setHandler([](const Request&) { return Feed().hold(); });
  const CouchConnectionParameters place = Url(server.getUrl(""));
  {
    Listener other(place);
    start(other, "a", 0);
    start(other, "", 0);
    ASSERT_TRUE(Pump(other, [this] { return recorder.count(Listener::CM_Listening) == 2; }));
    recorder.events.clear();
  }
  EXPECT_TRUE(server.waitForOpenConnections(0));
  EXPECT_THAT(recorder.events, IsEmpty());
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(ListenerRegistryTest, AListenerStandsForTheLocalServerUntilItIsToldOtherwise) {
  Listener local;
  EXPECT_TRUE(local.setConnectionParameters(Url(server.getUrl(""))));
  server.queue(Feed().hold());
  start(local, "shop", 3);
  ASSERT_TRUE(Pump(local, [this] { return recorder.count(Listener::CM_Listening) == 1; }));
  EXPECT_EQ(server.getRequestCount(), 1u);
}

}  // namespace
}  // namespace qx::test
