#include "tests/http/ConnectionFixture.h"
#include "tests/support/CurlTrace.h"

namespace qx::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// The capture of libcurl's debug text.
class HttpConnectionDebugTest : public ConnectionFixture {
 protected:
  void setLevel(int32 level) { connection.editConnectionParameters().debugLevel = level; }

  /// Hands one piece to the debug function of the connection's handle, as libcurl does between requests.
  int debug(curl_infotype type, string data) {
    using DebugFunction = int (*)(CURL*, curl_infotype, char*, size_t, void*);
    DebugFunction function = nullptr;
    void* record = nullptr;
    for (const CurlCall& call : trace.getCalls()) {
      void* const pointer = const_cast<void*>(call.pointer);
      if (call.option == CURLOPT_DEBUGFUNCTION) function = reinterpret_cast<DebugFunction>(pointer);
      if (call.option == CURLOPT_DEBUGDATA) record = pointer;
    }
    return function(nullptr, type, data.data(), data.size(), record);
  }

  CurlTrace trace;
};

TEST_F(HttpConnectionDebugTest, NothingIsCapturedAtLevel0) {
  EXPECT_TRUE(get());
  EXPECT_EQ(connection.getLastDebugInformations(), "");
  debug(CURLINFO_TEXT, "closing");
  connection.clearConnection();
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(HttpConnectionDebugTest, Level1CapturesHeadersAndTheSizesOfBodies) {
  setLevel(1);
  EXPECT_TRUE(get(root() + "/path"));
  EXPECT_THAT(connection.getLastDebugInformations(),
              AllOf(HasSubstr("* Connected to 127.0.0.1"), HasSubstr("> GET /path HTTP/1.1\r\n"),
                    HasSubstr("< HTTP/1.1 200"), HasSubstr("DataIn 5B"), Not(HasSubstr("hello"))));
}

TEST_F(HttpConnectionDebugTest, Level1WritesNothingToTheLog) {
  setLevel(1);
  get();
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(HttpConnectionDebugTest, Level2WritesTheCaptureToTheLogAfterTheRequest) {
  setLevel(2);
  EXPECT_TRUE(get());
  EXPECT_THAT(log.getLines(),
              ElementsAre(Detail("curl", "Curl debug output \n" + connection.getLastDebugInformations())));
}

TEST_F(HttpConnectionDebugTest, Level2WritesTheCaptureOfAFailedRequestToo) {
  setLevel(2);
  const RefusingPort port;
  EXPECT_FALSE(get(port.getUrl()));
  EXPECT_TRUE(log.contains(LT_Detail, "Curl debug output \n" + connection.getLastDebugInformations()));
}

TEST_F(HttpConnectionDebugTest, TheCaptureIsThatOfTheLastRequest) {
  setLevel(1);
  get(root() + "/first");
  get(root() + "/second");
  EXPECT_THAT(connection.getLastDebugInformations(), AllOf(HasSubstr("GET /second"), Not(HasSubstr("GET /first"))));
}

TEST_F(HttpConnectionDebugTest, EachKindOfPieceHasItsOwnText) {
  setLevel(1);
  get();
  const pair<curl_infotype, const char*> pieces[] = {
      {CURLINFO_TEXT, "* 12345"},           {CURLINFO_HEADER_IN, "< 12345"},
      {CURLINFO_HEADER_OUT, "> 12345"},     {CURLINFO_DATA_IN, "DataIn 5B"},
      {CURLINFO_DATA_OUT, "DataOut 5B"},    {CURLINFO_SSL_DATA_IN, "SSLIn 5B"},
      {CURLINFO_SSL_DATA_OUT, "SSLOut 5B"}, {CURLINFO_END, "End"},
  };
  for (const auto& [type, text] : pieces) {
    log.clear();
    EXPECT_EQ(debug(type, "12345"), 0);
    EXPECT_THAT(log.getLines(), ElementsAre(Detail("curl", text)));
  }
}

TEST_F(HttpConnectionDebugTest, SizesAreWholeNumbers) {
  setLevel(1);
  get();
  debug(CURLINFO_DATA_IN, string(1'234'567, 'x'));
  EXPECT_THAT(log.getLines(), ElementsAre(Detail("curl", "DataIn 1234567B")));
}

TEST_F(HttpConnectionDebugTest, WhatLibcurlSaysBetweenRequestsIsLoggedAtOnce) {
  setLevel(1);
  get();
  const string captured = connection.getLastDebugInformations();
  EXPECT_EQ(debug(CURLINFO_TEXT, "Closing connection 0\n"), 0);
  EXPECT_THAT(log.getLines(), ElementsAre(Detail("curl", "* Closing connection 0\n")));
  EXPECT_EQ(connection.getLastDebugInformations(), captured);
}

TEST_F(HttpConnectionDebugTest, AVerboseConnectionMayGoAtAnyTime) {
  {
    http::HttpConnection shortLived(false);
    shortLived.editConnectionParameters().debugLevel = 2;
    EXPECT_TRUE(shortLived.getHttpData(qx::Url(server.getUrl()), "", 0, Exchange::Setup, &exchange));
  }
  EXPECT_TRUE(server.waitForOpenConnections(0));
}

TEST_F(HttpConnectionDebugTest, AFreshConnectionPrintsNoProgressMeter) {
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  server.queue(Reply::Http(200, string(1'000'000, 'x')));
  EXPECT_TRUE(get());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace qx::test
