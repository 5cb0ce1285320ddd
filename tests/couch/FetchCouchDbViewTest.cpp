#include "netweft/couch/FetchCouchDbView.h"

#include "netweft/base/system/internal/Clock.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/http/HttpConnection.h"
#include "tests/couch/RowRecorder.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace qx::test {
namespace {

using couch::CouchConnectionParameters;
using couch::FetchCouchDbView;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

const string sOneRow = R"({"rows":[{"id":"a","key":1,"value":2}]})";
const string sNoRows = R"({"total_rows":0,"offset":0,"rows":[]})";

class FetchCouchDbViewTest : public LibraryFixture {
 protected:
  bool fetch(const string& designDoc = "D", const string& viewName = "V", const vector<string>* keys = nullptr) {
    return FetchCouchDbView(connection, couchServer, "db", designDoc, viewName, keys, callback, &recorder, limit,
                            timeoutMs, &cancelFlag);
  }
  string fetchLine(const string& designDoc, const string& viewName) {
    server.queue(Reply::Json(200, sNoRows));
    EXPECT_TRUE(fetch(designDoc, viewName));
    return server.getRequest(server.getRequestCount() - 1).line;
  }
  /// A server that says little is given up after a good second.
  void setShortStallLimit() {
    connection.editConnectionParameters().lowSpeedLimit = 1000000;
    connection.editConnectionParameters().lowSpeedTimeSec = 1;
  }

  ScriptedServer server;
  http::HttpConnection connection{false};
  CouchConnectionParameters couchServer = Url(server.getUrl(""));
  LogCapture log;
  RowRecorder recorder;
  couch::ViewRowCallback callback = RowRecorder::Record;
  long long limit = -1;
  unsigned int timeoutMs = 0;
  bool cancelFlag = false;
};

TEST_F(FetchCouchDbViewTest, AViewIsReadWithAPlainGet) {
  server.queue(Reply::Json(200, sOneRow));
  EXPECT_TRUE(fetch());
  const Request request = server.getRequest(0);
  EXPECT_EQ(request.line, "GET /db/_design/D/_view/V HTTP/1.1");
  EXPECT_EQ(request.body, "");
  EXPECT_FALSE(request.hasHeader("Content-Type"));
  EXPECT_THAT(recorder.rows, ElementsAre("a|1|2"));
}

TEST_F(FetchCouchDbViewTest, NeitherDesignDocumentNorViewMeansAllDocuments) {
  EXPECT_EQ(fetchLine("", ""), "GET /db/_all_docs HTTP/1.1");
}

TEST_F(FetchCouchDbViewTest, OneEmptyNameKeepsTheFormOfAView) {
  EXPECT_EQ(fetchLine("D", ""), "GET /db/_design/D/_view/ HTTP/1.1");
  EXPECT_EQ(fetchLine("", "V"), "GET /db/_design//_view/V HTTP/1.1");
}

TEST_F(FetchCouchDbViewTest, TheServersPathStaysAndItsQueryGoes) {
  couchServer = Url(server.getUrl("/sub?old=1"));
  EXPECT_EQ(fetchLine("D", "V"), "GET /sub/db/_design/D/_view/V HTTP/1.1");
}

TEST_F(FetchCouchDbViewTest, NamesTravelEscaped) {
  EXPECT_EQ(fetchLine("a/b", "\xC3\xA9 ?"), "GET /db/_design/a%2Fb/_view/%C3%A9%20%3F HTTP/1.1");
}

TEST_F(FetchCouchDbViewTest, ALimitIsWrittenWithoutGroupingItsDigits) {
  limit = 1234567;
  EXPECT_EQ(fetchLine("", ""), "GET /db/_all_docs?limit=1234567 HTTP/1.1");
}

TEST_F(FetchCouchDbViewTest, ALimitOfZeroIsALimit) {
  limit = 0;
  EXPECT_EQ(fetchLine("", ""), "GET /db/_all_docs?limit=0 HTTP/1.1");
}

TEST_F(FetchCouchDbViewTest, KeysArePostedAsJson) {
  server.queue(Reply::Json(200, sOneRow));
  const vector<string> keys = {"b", "a\"\xC3\xA9"};
  EXPECT_TRUE(fetch("D", "V", &keys));
  const Request request = server.getRequest(0);
  EXPECT_EQ(request.line, "POST /db/_design/D/_view/V HTTP/1.1");
  EXPECT_EQ(request.body, "{\"keys\":[\"b\",\"a\\\"\xC3\xA9\"]}");
  EXPECT_TRUE(request.hasHeaderLine("Content-Type: application/json"));
  EXPECT_EQ(request.countHeaders("Content-Type"), 1u);
  EXPECT_TRUE(request.hasHeaderLine("Content-Length: " + std::to_string(request.body.size())));
}

TEST_F(FetchCouchDbViewTest, NoKeysReadTheWholeView) {
  server.queue(Reply::Json(200, sNoRows));
  const vector<string> keys;
  EXPECT_TRUE(fetch("D", "V", &keys));
  EXPECT_EQ(server.getRequest(0).method, "GET");
}

TEST_F(FetchCouchDbViewTest, AGetFollowsAPostOnOneConnection) {
  const vector<string> keys = {"a"};
  server.queue(Reply::Json(200, sNoRows));
  server.queue(Reply::Json(200, sNoRows));
  EXPECT_TRUE(fetch("D", "V", &keys));
  EXPECT_TRUE(fetch());
  EXPECT_EQ(server.getRequest(1).method, "GET");
  EXPECT_FALSE(server.getRequest(1).hasHeader("Content-Type"));
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(FetchCouchDbViewTest, ABodyBeyondAMegabyteArrivesWhole) {
  const vector<string> keys(20000, string(100, 'k'));
  server.queue(Reply::Json(200, sNoRows));
  EXPECT_TRUE(fetch("D", "V", &keys));
  EXPECT_EQ(server.getRequest(0).body.size(), 9 + keys.size() * 103 - 1 + 2);
}

TEST_F(FetchCouchDbViewTest, AnAnswerThatBreaksOffUnseenByTheTransferIsAFailure) {
  const string head = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n";
  for (const string& text : {head, head + "\r\n{\"rows\":[", head + "\r\n" + string(sOneRow).substr(0, 30)}) {
    log.clear();
    server.queue(Reply::Raw(text).close());
    EXPECT_FALSE(fetch());
    EXPECT_EQ(log.getLines(LT_Error), vector{Error("Error while fetching view V of document D the answer broke off")});
  }
}

TEST_F(FetchCouchDbViewTest, TheSuccessLineTellsCountAndTime) {
  server.queue(Reply::Json(200, sOneRow));
  EXPECT_TRUE(fetch());
  const vector<CapturedLine> lines = log.getLines();
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].type, LT_Detail);
  EXPECT_EQ(lines[0].channel, "couchdb");
  EXPECT_THAT(lines[0].text, testing::MatchesRegex("Fetch 1 doc\\(s\\) from view _design/D/_view/V in [0-9]+ms"));
}

TEST_F(FetchCouchDbViewTest, AllDocumentsAreLoggedInTheSameWords) {
  server.queue(Reply::Json(200, sNoRows));
  EXPECT_TRUE(fetch("", ""));
  EXPECT_THAT(log.getLines().at(0).text, StartsWith("Fetch 0 doc(s) from view _design//_view/ in "));
  EXPECT_THAT(recorder.rows, IsEmpty());
}

TEST_F(FetchCouchDbViewTest, ACountOfThousandsIsLoggedWithoutGrouping) {
  string rows = R"({"id":"a","key":1,"value":2})";
  string view = "{\"rows\":[" + rows;
  for (int i = 1; i < 1234; ++i) view += "," + rows;
  server.queue(Reply::Json(200, view + "]}"));
  EXPECT_TRUE(fetch());
  EXPECT_THAT(log.getLines().at(0).text, StartsWith("Fetch 1234 doc(s) "));
}

TEST_F(FetchCouchDbViewTest, WithoutACallbackTheResponseIsReadAndNothingIsCounted) {
  callback = nullptr;
  server.queue(Reply::Json(200, sOneRow));
  EXPECT_TRUE(fetch());
  EXPECT_THAT(log.getLines().at(0).text, StartsWith("Fetch 0 doc(s) "));
}

TEST_F(FetchCouchDbViewTest, RowsAreDeliveredWhileTheResponseIsArriving) {
  const Gate gate;
  recorder.onRow = [&gate] {
    gate.open();
    return true;
  };
  server.queue(Reply::Stream(200)
                   .sendChunk(R"({"rows":[{"id":"a","key":1,"value":2})")
                   .waitFor(gate)
                   .sendChunk(R"(,{"id":"b","key":1,"value":2}]})")
                   .endChunks());
  EXPECT_TRUE(fetch());
  EXPECT_THAT(recorder.rows, SizeIs(2));
}

TEST_F(FetchCouchDbViewTest, ARefusedRequestIsLoggedWithTheTransportsWords) {
  server.queue(Reply::Json(404, R"({"error":"not_found","reason":"missing"})"));
  EXPECT_FALSE(fetch());
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Error while fetching view V of document D "
                                                "HttpConnection error : bad html response code, got 404, expect 200 " +
                                                server.getUrl("/db/_design/D/_view/V") + " Http return code 404 ")));
}

TEST_F(FetchCouchDbViewTest, ABadRowIsLoggedAheadOfTheTransportsError) {
  server.queue(Reply::Json(200, R"({"rows":[{"key":"a","error":"not_found"}]})"));
  EXPECT_FALSE(fetch("", ""));
  const vector<CapturedLine> errors = log.getLines(LT_Error);
  ASSERT_THAT(errors, SizeIs(2));
  EXPECT_EQ(errors[0].text,
            R"(Error while parsing result, missing 'id' entry in json {"key":"a","error":"not_found"})");
  EXPECT_THAT(errors[1].text, StartsWith("Error while fetching view  of document  HttpConnection error : "));
  EXPECT_EQ(errors[1].text, "Error while fetching view  of document  " + connection.getLastErrorMsg());
}

TEST_F(FetchCouchDbViewTest, ACallbackThatWantsNoMoreEndsTheFetch) {
  recorder.onRow = [] { return false; };
  server.queue(Reply::Json(200, R"({"rows":[{"id":"a","key":1,"value":2},{"id":"b","key":1,"value":2}]})"));
  EXPECT_FALSE(fetch());
  EXPECT_THAT(recorder.rows, SizeIs(1));
}

TEST_F(FetchCouchDbViewTest, AnExceptionOfTheCallbackReachesTheCallerAndIsNotLogged) {
  recorder.onRow = []() -> bool { throw std::runtime_error("enough"); };
  server.queue(Reply::Json(200, sOneRow));
  EXPECT_THROW(fetch(), std::runtime_error);
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(FetchCouchDbViewTest, TheConnectionServesOnAfterAnException) {
  recorder.onRow = []() -> bool { throw std::runtime_error("enough"); };
  server.queue(Reply::Json(200, sOneRow));
  EXPECT_THROW(fetch(), std::runtime_error);
  recorder.onRow = nullptr;
  server.queue(Reply::Json(200, sOneRow));
  EXPECT_TRUE(fetch());
}

TEST_F(FetchCouchDbViewTest, ARaisedCancelFlagEndsTheFetchSilently) {
  recorder.onRow = [this] {
    StoreFlag(cancelFlag, true);
    return true;
  };
  server.queue(Reply::Stream(200).sendChunk(R"({"rows":[{"id":"a","key":1,"value":2},)").hold());
  EXPECT_FALSE(fetch());
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(FetchCouchDbViewTest, ACancelFlagRaisedBeforehandKeepsTheKeysFromBeingSent) {
  cancelFlag = true;
  const vector<string> keys = {"a"};
  EXPECT_FALSE(fetch("D", "V", &keys));
  EXPECT_THAT(log.getLines(), IsEmpty());
  EXPECT_EQ(server.getRequestCount(), 0u);
}

TEST_F(FetchCouchDbViewTest, NoCancelFlagIsNeeded) {
  server.queue(Reply::Json(200, sOneRow));
  EXPECT_TRUE(FetchCouchDbView(connection, couchServer, "db", "", "", nullptr, callback, &recorder, -1, 0, nullptr));
}

TEST_F(FetchCouchDbViewTest, ARefusedConnectionIsNotTriedAgain) {
  const RefusingPort nobody;
  couchServer = Url(nobody.getUrl(""));
  timeoutMs = 60000;
  EXPECT_FALSE(fetch());
  EXPECT_THAT(log.getLines(LT_Error), SizeIs(1));
}

TEST_F(FetchCouchDbViewTest, ATimeoutOfZeroMeansOneAttemptAndNoLine) {
  setShortStallLimit();
  server.setHandler([](const Request&) { return Reply::Silent(); });
  EXPECT_FALSE(fetch());
  EXPECT_EQ(server.getRequestCount(), 1u);
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(FetchCouchDbViewTest, ARetryResumesTheScannerWhereTheTimedOutAttemptLeftIt) {
  setShortStallLimit();
  timeoutMs = 60000;
  server.queue(Reply::Stream(200).sendChunk(R"({"rows":[{"id":"a","key":1,"value":2},{"id":"b","ke)").hold());
  server.queue(Reply::Json(200, R"(y":3,"value":4}]})"));
  EXPECT_TRUE(fetch());
  EXPECT_THAT(recorder.rows, ElementsAre("a|1|2", "b|3|4"));
  EXPECT_EQ(server.getRequestCount(), 2u);
  EXPECT_THAT(log.getLines().at(0).text, StartsWith("Fetch 2 doc(s) "));
}

TEST_F(FetchCouchDbViewTest, RetriesEndWithALineWhenTheTimeIsOver) {
  setShortStallLimit();
  timeoutMs = 60000;
  server.setHandler([](const Request&) {
    impl::AdvanceClock(60000);
    return Reply::Silent();
  });
  EXPECT_FALSE(fetch());
  EXPECT_EQ(server.getRequestCount(), 1u);
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Timeout while fetching view V of document D")));
}

TEST_F(FetchCouchDbViewTest, ARetrySendsNothingOfABodyThatWasSent) {
  setShortStallLimit();
  timeoutMs = 1500;
  const vector<string> keys = {"a"};
  server.setHandler([](const Request&) { return Reply::Silent(); });
  EXPECT_FALSE(fetch("D", "V", &keys));
  ASSERT_TRUE(server.waitForRawBytes(1, "\r\n\r\n"));
  EXPECT_TRUE(server.getRawBytes(1).ends_with("\r\n\r\n")) << server.getRawBytes(1);
  EXPECT_EQ(log.count(Error("Timeout while fetching view V of document D")), 1u);
}

}  // namespace
}  // namespace qx::test
