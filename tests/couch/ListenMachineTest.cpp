#include "netweft/couch/internal/ListenMachine.h"

#include "tests/couch/FeedRecordFixture.h"

#include <algorithm>
#include <limits>

namespace qx::test {
namespace {

using namespace couch;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto sError = ChangesListener::CM_ListenStopedDueToError;
constexpr auto sMissing = ChangesListener::CM_ListenStopedDbMissing;
constexpr auto sFailToStart = ChangesListener::CM_FailToStartListening;

static_assert(LS_Idle == 0 && LS_NeedUpdateSeq == 1 && LS_FetchingUpdateSeq == 2 && LS_NeedConnect == 3 &&
              LS_Connecting == 4 && LS_Listening == 5 && LS_WaitBeforeRetry == 6);

class ListenMachineTest : public FeedRecordFixture {
 protected:
  ListenState stateAfterSetUp(const string& db, int64 since) {
    record = makeRecord(db, since);
    OnSetUp(*record);
    return record->state;
  }
  void begin(ListenState state, const string& db = "shop", int64 since = 3) { record = makeRecordIn(db, state, since); }
  void finish(CURLcode result, long status = 200) { OnTransferDone(*record, result, status); }
  void receive(const string& body) { EXPECT_TRUE(OnBody(*record, body.data(), body.size())); }
  /// The answer to the GET of the database.
  void finishUpdateSeq(const string& body) {
    begin(LS_FetchingUpdateSeq, "shop", -1);
    if (!body.empty()) receive(body);
    finish(CURLE_OK);
  }
  void expectWaiting() {
    EXPECT_EQ(record->state, LS_WaitBeforeRetry);
    EXPECT_TRUE(record->retryTimer.isRunning());
  }

  unique_ptr<Record> record;
};

TEST_F(ListenMachineTest, TheFieldsOfARecordStandInTheirOrder) {
  record = makeRecord("shop");
  const vector<const void*> fields = {
      &record->headers,   &record->errorBuffer,    &record->receiveBuffer, &record->dbName,
      &record->heartbeat, &record->reconnectDelay, &record->attemptTimer,  &record->retryTimer,
      &record->state,     &record->content,        &record->param,         &record->callback,
      &record->userData,  &record->handle,         &record->since,         &record->activity};
  EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
}

TEST_F(ListenMachineTest, ARecordKnowsItsDatabaseAndKeepsItsErrorTextEmpty) {
  record = makeRecord("shop");
  EXPECT_EQ(record->param.dbName, "shop");
  EXPECT_EQ(record->errorBuffer.front(), '\0');
  EXPECT_GE(record->errorBuffer.size(), size_t{CURL_ERROR_SIZE});
}

TEST_F(ListenMachineTest, AKnownSequenceNeedsOnlyTheFeed) {
  EXPECT_EQ(stateAfterSetUp("shop", 0), LS_NeedConnect);
  EXPECT_EQ(stateAfterSetUp("shop", 12), LS_NeedConnect);
}

TEST_F(ListenMachineTest, ANegativeSequenceIsReadFirst) {
  EXPECT_EQ(stateAfterSetUp("shop", -1), LS_NeedUpdateSeq);
  EXPECT_EQ(stateAfterSetUp("shop", std::numeric_limits<int64>::min()), LS_NeedUpdateSeq);
}

TEST_F(ListenMachineTest, TheServersFeedHasNoSequence) {
  EXPECT_EQ(stateAfterSetUp("", -1), LS_NeedConnect);
  EXPECT_EQ(record->since, 0);
  EXPECT_EQ(stateAfterSetUp("", 12), LS_NeedConnect);
  EXPECT_EQ(record->since, 0);
}

TEST_F(ListenMachineTest, ATickAsksForWhatTheStateNeeds) {
  const map<ListenState, ListenAction> expected = {
      {LS_Idle, LA_Nothing},
      {LS_NeedUpdateSeq, LA_RequestUpdateSeq},
      {LS_FetchingUpdateSeq, LA_Nothing},
      {LS_NeedConnect, LA_RequestFeed},
      {LS_Connecting, LA_Nothing},
      {LS_Listening, LA_Nothing},
  };
  for (const auto& [state, action] : expected) {
    begin(state);
    EXPECT_EQ(OnTick(*record), action) << state;
    EXPECT_EQ(record->state, state);
  }
}

TEST_F(ListenMachineTest, ATickClearsTheActivity) {
  begin(LS_Listening);
  record->activity = true;
  OnTick(*record);
  EXPECT_FALSE(record->activity);
}

TEST_F(ListenMachineTest, WholeSecondsMustExceedTheLimit) {
  EXPECT_FALSE(IsWaitOver(1.0, 1));
  EXPECT_FALSE(IsWaitOver(1.999, 1));
  EXPECT_TRUE(IsWaitOver(2.0, 1));
  EXPECT_FALSE(IsWaitOver(0.9, 0));
  EXPECT_TRUE(IsWaitOver(1.0, 0));
  EXPECT_TRUE(IsWaitOver(0.0, -1));
}

TEST_F(ListenMachineTest, TheWaitGoesOnUntilTheDelayIsOver) {
  record = makeRecord("shop", 3, 3600);
  record->fail(sError, "x");
  EXPECT_EQ(OnTick(*record), LA_Nothing);
  expectWaiting();
}

TEST_F(ListenMachineTest, AfterTheWaitTheFeedIsRequestedInTheSameTick) {
  record = makeRecord("shop", 3, sNoDelay);
  record->fail(sError, "x");
  EXPECT_EQ(OnTick(*record), LA_RequestFeed);
  EXPECT_EQ(record->state, LS_NeedConnect);
  EXPECT_FALSE(record->retryTimer.isRunning());
}

TEST_F(ListenMachineTest, AfterTheWaitAnUnknownSequenceIsReadAgain) {
  record = makeRecord("shop", -1, sNoDelay);
  record->fail(sError, "x");
  EXPECT_EQ(OnTick(*record), LA_RequestUpdateSeq);
}

TEST_F(ListenMachineTest, ARunningAttemptTimerHoldsTheAttemptBack) {
  begin(LS_NeedConnect);
  record->attemptTimer.start();
  EXPECT_EQ(OnTick(*record), LA_Nothing);
  record->attemptTimer.stop();
  EXPECT_EQ(OnTick(*record), LA_RequestFeed);
}

TEST_F(ListenMachineTest, NoAttemptIsDelayedByTheOneBefore) {
  begin(LS_NeedConnect);
  OnTick(*record);
  OnArmed(*record, true);
  finish(CURLE_OK);
  EXPECT_FALSE(record->attemptTimer.isRunning());
  EXPECT_EQ(OnTick(*record), LA_RequestFeed);
}

TEST_F(ListenMachineTest, AnArmedGetIsNotReported) {
  begin(LS_NeedUpdateSeq);
  OnArmed(*record, true);
  EXPECT_EQ(record->state, LS_FetchingUpdateSeq);
  EXPECT_THAT(recorder.events, IsEmpty());
}

TEST_F(ListenMachineTest, AnArmedFeedIsReportedAsStarting) {
  begin(LS_NeedConnect);
  OnArmed(*record, true);
  EXPECT_EQ(record->state, LS_Connecting);
  EXPECT_THAT(recorder.events, ElementsAre(Event(ChangesListener::CM_StartListening, "shop", 3)));
}

TEST_F(ListenMachineTest, ARequestThatCannotBeArmedIsAnError) {
  for (const ListenState state : {LS_NeedUpdateSeq, LS_NeedConnect}) {
    recorder.events.clear();
    begin(state);
    OnArmed(*record, false);
    EXPECT_THAT(recorder.events, ElementsAre(Event(sError, "shop", 3, "set url error")));
    expectWaiting();
  }
}

TEST_F(ListenMachineTest, TheBlankHeaderLineBeginsTheListening) {
  begin(LS_Connecting);
  EXPECT_TRUE(OnHeaderLine(*record, "HTTP/1.1 200 OK\r\n"));
  EXPECT_EQ(record->state, LS_Connecting);
  EXPECT_TRUE(record->activity);
  EXPECT_TRUE(OnHeaderLine(*record, "\r\n"));
  EXPECT_EQ(record->state, LS_Listening);
  EXPECT_THAT(recorder.events, ElementsAre(Event(ChangesListener::CM_Listening, "shop", 3)));
}

TEST_F(ListenMachineTest, OnlyTheTwoBytesAreTheBlankLine) {
  begin(LS_Connecting);
  for (const char* line : {"\n", "\r\n\r\n", " \r\n", ""}) EXPECT_TRUE(OnHeaderLine(*record, line));
  EXPECT_EQ(record->state, LS_Connecting);
}

TEST_F(ListenMachineTest, TheBlankLineOfTheGetMeansNothing) {
  begin(LS_FetchingUpdateSeq);
  EXPECT_TRUE(OnHeaderLine(*record, "\r\n"));
  EXPECT_EQ(record->state, LS_FetchingUpdateSeq);
  EXPECT_THAT(recorder.events, IsEmpty());
}

TEST_F(ListenMachineTest, BytesAreTakenOnlyWhereTheyAreExpected) {
  for (const ListenState state : {LS_Idle, LS_NeedUpdateSeq, LS_NeedConnect, LS_Connecting, LS_WaitBeforeRetry}) {
    begin(state);
    EXPECT_FALSE(OnBody(*record, "\n", 1)) << state;
    EXPECT_TRUE(record->activity);
  }
  for (const ListenState state : {LS_FetchingUpdateSeq, LS_Listening}) {
    begin(state);
    EXPECT_TRUE(OnBody(*record, "\n", 1)) << state;
    EXPECT_TRUE(record->activity);
  }
}

TEST_F(ListenMachineTest, AStoppedFeedTakesNothing) {
  begin(LS_Listening);
  record->stopped = true;
  EXPECT_FALSE(OnBody(*record, "\n", 1));
  EXPECT_FALSE(OnHeaderLine(*record, "a: b\r\n"));
  EXPECT_THAT(recorder.events, IsEmpty());
}

TEST_F(ListenMachineTest, TheSequenceOfTheDatabaseIsWhereTheFeedBegins) {
  finishUpdateSeq(R"({"db_name":"shop","update_seq":41})");
  EXPECT_EQ(record->state, LS_NeedConnect);
  EXPECT_EQ(record->since, 41);
  EXPECT_THAT(recorder.events, IsEmpty());
}

TEST_F(ListenMachineTest, AnAnswerInPiecesIsPutTogether) {
  begin(LS_FetchingUpdateSeq, "shop", -1);
  for (const char* piece : {"{\"update", "_seq\":4", "1}\n"}) receive(piece);
  finish(CURLE_OK);
  EXPECT_EQ(record->since, 41);
}

TEST_F(ListenMachineTest, ASequenceInAnotherFormCountsAsItsNumber) {
  finishUpdateSeq(R"({"update_seq":"41"})");
  EXPECT_EQ(record->since, 41);
  finishUpdateSeq(R"({"update_seq":"41-g1AAA"})");
  EXPECT_EQ(record->since, 0);
  EXPECT_EQ(record->state, LS_NeedConnect);
}

TEST_F(ListenMachineTest, AnAnswerWithoutASequenceIsAnError) {
  for (const char* body : {"{}", "", "<html>", "{\"update_seq\":41", "[]"}) {
    recorder.events.clear();
    finishUpdateSeq(body);
    EXPECT_THAT(recorder.events, ElementsAre(Event(sError, "shop", -1, "invalid update seq"))) << body;
    expectWaiting();
  }
}

TEST_F(ListenMachineTest, ANegativeSequenceOfTheDatabaseIsAnError) {
  finishUpdateSeq(R"({"update_seq":-7})");
  EXPECT_THAT(recorder.events, ElementsAre(Event(sError, "shop", -7, "invalid update seq")));
  expectWaiting();
}

TEST_F(ListenMachineTest, ADatabaseThatIsNotFoundIsMissing) {
  begin(LS_FetchingUpdateSeq, "shop", -1);
  finish(CURLE_OK, 404);
  EXPECT_THAT(recorder.events, ElementsAre(Event(sMissing, "shop", -1, "Http error 404 while retrieving update seq")));
  expectWaiting();
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(ListenMachineTest, AnyOtherStatusIsAnError) {
  for (const long status : {401l, 500l, 201l, 0l}) {
    recorder.events.clear();
    begin(LS_FetchingUpdateSeq, "shop", -1);
    finish(CURLE_OK, status);
    const string text = "Http error " + std::to_string(status) + " while retrieving update seq";
    EXPECT_THAT(recorder.events, ElementsAre(Event(sError, "shop", -1, text)));
    expectWaiting();
  }
  EXPECT_THAT(log.getLines(), IsEmpty());
}

/// The codes that stand for trouble of the network.
const vector<CURLcode> sConnectionCodes = {CURLE_COULDNT_CONNECT, CURLE_PARTIAL_FILE, CURLE_OPERATION_TIMEDOUT,
                                           CURLE_RECV_ERROR};
/// Some that do not, close relatives among them.
const vector<CURLcode> sOtherCodes = {CURLE_COULDNT_RESOLVE_HOST, CURLE_GOT_NOTHING, CURLE_SEND_ERROR,
                                      CURLE_WRITE_ERROR, CURLE_SSL_CONNECT_ERROR};

TEST_F(ListenMachineTest, TheConnectionClassIsFourCodes) { EXPECT_THAT(sConnectionCodes, ElementsAre(7, 18, 28, 56)); }

TEST_F(ListenMachineTest, TroubleOfTheNetworkIsReportedAndLoggedInEachState) {
  const map<ListenState, ChangesListener::CallbackMsg> expected = {
      {LS_FetchingUpdateSeq, sError}, {LS_Connecting, sFailToStart}, {LS_Listening, sError}};
  for (const auto& [state, msg] : expected) {
    for (const CURLcode code : sConnectionCodes) {
      recorder.events.clear();
      log.clear();
      begin(state);
      finish(code, 0);
      EXPECT_THAT(recorder.events, ElementsAre(Event(msg, "shop", 3, "connection issue"))) << state << " " << code;
      EXPECT_THAT(log.getLines(), ElementsAre(Warning(string("Couch changes listener connection issue (") +
                                                      curl_easy_strerror(code) + "), will retry in a few moment")));
      expectWaiting();
    }
  }
}

TEST_F(ListenMachineTest, OtherErrorsOfTheGetAreReportedByTheirWords) {
  for (const CURLcode code : sOtherCodes) {
    recorder.events.clear();
    begin(LS_FetchingUpdateSeq);
    finish(code, 0);
    const string text = string("Curl error (") + curl_easy_strerror(code) + ") while retrieving update seq";
    EXPECT_THAT(recorder.events, ElementsAre(Event(sError, "shop", 3, text)));
    expectWaiting();
  }
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(ListenMachineTest, OtherErrorsOfTheFeedAreReportedByTheirWords) {
  const map<ListenState, ChangesListener::CallbackMsg> expected = {{LS_Connecting, sFailToStart},
                                                                   {LS_Listening, sError}};
  for (const auto& [state, msg] : expected) {
    for (const CURLcode code : sOtherCodes) {
      recorder.events.clear();
      begin(state);
      finish(code, 0);
      const string text = string("Curl error (") + curl_easy_strerror(code) + ") while listening change feed";
      EXPECT_THAT(recorder.events, ElementsAre(Event(msg, "shop", 3, text)));
      expectWaiting();
    }
  }
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(ListenMachineTest, AFeedThatEndsCleanlyIsRequestedAgainWithoutAReport) {
  for (const ListenState state : {LS_Connecting, LS_Listening}) {
    begin(state);
    finish(CURLE_OK, 500);
    EXPECT_EQ(record->state, LS_NeedConnect);
    EXPECT_EQ(OnTick(*record), LA_RequestFeed);
  }
  EXPECT_THAT(recorder.events, IsEmpty());
}

TEST_F(ListenMachineTest, TheEndOfATransferMeansNothingInOtherStates) {
  for (const ListenState state : {LS_Idle, LS_NeedUpdateSeq, LS_NeedConnect, LS_WaitBeforeRetry}) {
    begin(state);
    finish(CURLE_WRITE_ERROR);
    EXPECT_EQ(record->state, state);
  }
  EXPECT_THAT(recorder.events, IsEmpty());
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(ListenMachineTest, AnEventCarriesNothingOfTheChangeBeforeIt) {
  begin(LS_Listening);
  receive("{\"seq\":5,\"id\":\"a\",\"changes\":[{\"rev\":\"1-a\"}],\"deleted\":true}\n");
  finish(CURLE_GOT_NOTHING);
  EXPECT_EQ(recorder.events.back().param.docId, "");
  EXPECT_THAT(recorder.events.back().param.revisions, IsEmpty());
  EXPECT_FALSE(recorder.events.back().param.deleted);
  EXPECT_EQ(recorder.events.back().param.seq, 5);
}

class RequestUrlTest : public FeedRecordFixture {
 protected:
  string urlOf(const string& db, int64 since, ListenAction action,
               Listener::RetrieveContent content = Listener::RC_ChangesOnly) {
    const unique_ptr<Record> record = makeRecord(db, since, 1, content);
    return BuildRequestUrl(*record, CouchConnectionParameters(Url("http://couch.example:5984/sub")), action)
        .toEncodedUrl();
  }
};

TEST_F(RequestUrlTest, TheSequenceIsReadFromTheDatabase) {
  EXPECT_EQ(urlOf("shop", -1, LA_RequestUpdateSeq), "http://couch.example:5984/sub/shop");
}

TEST_F(RequestUrlTest, AFeedIsContinuousFromItsSequence) {
  EXPECT_EQ(urlOf("shop", 1234567, LA_RequestFeed),
            "http://couch.example:5984/sub/shop/_changes?feed=continuous&heartbeat=30000&since=1234567");
}

TEST_F(RequestUrlTest, DocumentsAndConflictsAreAskedFor) {
  EXPECT_EQ(urlOf("shop", 0, LA_RequestFeed, ChangesListener::RC_IncludeDocs),
            "http://couch.example:5984/sub/shop/_changes?feed=continuous&include_docs=true&heartbeat=30000&since=0");
  EXPECT_EQ(urlOf("shop", 0, LA_RequestFeed, ChangesListener::RC_IncludeDocsAndConflicts),
            "http://couch.example:5984/sub/shop/_changes?feed=continuous&include_docs=true&conflicts=true"
            "&heartbeat=30000&since=0");
}

TEST_F(RequestUrlTest, TheServersFeedHasNoSequence) {
  EXPECT_EQ(urlOf("", 12, LA_RequestFeed),
            "http://couch.example:5984/sub/_db_updates?feed=continuous&heartbeat=true&timeout=30000");
}

TEST_F(RequestUrlTest, TheServersFeedTakesTheContentToo) {
  EXPECT_EQ(urlOf("", 0, LA_RequestFeed, ChangesListener::RC_IncludeDocs),
            "http://couch.example:5984/sub/_db_updates?feed=continuous&include_docs=true&heartbeat=true&timeout=30000");
}

TEST_F(RequestUrlTest, ANameIsOneSegmentWhateverItHolds) {
  EXPECT_EQ(urlOf("a/b c\xC3\xA9", 0, LA_RequestFeed),
            "http://couch.example:5984/sub/a%2Fb%20c%C3%A9/_changes?feed=continuous&heartbeat=30000&since=0");
}

TEST_F(RequestUrlTest, AHugeHeartbeatDoesNotOverflow) {
  const Record record("shop", 0, nullptr, nullptr, Listener::RC_ChangesOnly, std::numeric_limits<int32>::max(), 1);
  EXPECT_THAT(BuildRequestUrl(record, CouchConnectionParameters(), LA_RequestFeed).toEncodedUrl(),
              testing::HasSubstr("heartbeat=2147483647000&"));
}

}  // namespace
}  // namespace qx::test
