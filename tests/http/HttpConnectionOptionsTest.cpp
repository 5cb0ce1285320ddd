#include "tests/http/ConnectionFixture.h"
#include "tests/http/ExpectedOptions.h"
#include "tests/support/CurlTrace.h"

#include <cstdio>

namespace qx::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const vector<string> kCreationOptions =
    kFreshHandleOptions + vector<string>{"NOPROGRESS 0",        "FORBID_REUSE 0",  "FRESH_CONNECT 0",
                                         "SSLVERSION 6",        "NOSIGNAL 0",      "DEBUGFUNCTION set",
                                         "DEBUGDATA set",       "ERRORBUFFER set", "COOKIEJAR \"/dev/null\"",
                                         "ACCEPT_ENCODING \"\""};
const vector<string> kCallbackOptions = {"WRITEFUNCTION set"};
const vector<string> kCallerData = {"XFERINFODATA set", "WRITEDATA set", "READDATA set"};
const vector<string> kHeaders = {"HTTPHEADER [A: 1, B: 2, Connection: Keep-Alive]"};
const vector<string> kDetachedCallerData = {"XFERINFODATA null", "WRITEDATA null", "READDATA null"};

/// What the connection tells libcurl, call by call.
class HttpConnectionOptionsTest : public ConnectionFixture {
 protected:
  HttpConnectionOptionsTest() {
    connection.addCommonHeader("A: 1");
    exchange.headers = {"B: 2"};
  }

  vector<string> url() const { return {"URL \"" + root() + "\""}; }

  /// From the parameters on, on a handle that is open.
  vector<string> wholeRequest() const {
    return kDefaultLoopbackOptions + kCallbackOptions + kCallerData + kHeaders + url() + kDetachedCallerData;
  }

  bool request() {
    trace.clear();
    return get(root());
  }

  CurlTrace trace;
};

TEST_F(HttpConnectionOptionsTest, TheFirstRequestSetsTheHandleUpAndItself) {
  EXPECT_TRUE(request());
  EXPECT_EQ(trace.getTexts(), kCreationOptions + wholeRequest());
}

TEST_F(HttpConnectionOptionsTest, TheNextRequestSetsItselfAlone) {
  request();
  EXPECT_TRUE(request());
  EXPECT_EQ(trace.getTexts(), wholeRequest());
}

TEST_F(HttpConnectionOptionsTest, ARequestAfterALostHandleSetsAnotherUp) {
  server.queue(Reply::Raw("").close());
  EXPECT_FALSE(request());
  EXPECT_TRUE(request());
  EXPECT_EQ(trace.getTexts(), kCreationOptions + wholeRequest());
}

TEST_F(HttpConnectionOptionsTest, AFailedTransferLetsGoOfTheCallersDataToo) {
  server.queue(Reply::Raw("").close());
  EXPECT_FALSE(request());
  EXPECT_EQ(trace.getTexts(), kCreationOptions + wholeRequest());
}

TEST_F(HttpConnectionOptionsTest, TheUserDataIsInstalledAsItIs) {
  request();
  vector<const void*> installed;
  for (const CurlCall& call : trace.getCalls()) {
    if (call.text.ends_with("DATA set") && call.text != "DEBUGDATA set") installed.push_back(call.pointer);
  }
  EXPECT_THAT(installed, ElementsAre(&exchange, &exchange, &exchange));
}

TEST_F(HttpConnectionOptionsTest, WithoutACallbackNoFunctionAndNoVerbIsSet) {
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::tmpfile(), std::fclose);
  trace.clear();
  EXPECT_TRUE(connection.getHttpData(qx::Url(root()), "", 0, nullptr, file.get()));
  EXPECT_EQ(trace.getTexts(), kCreationOptions + kDefaultLoopbackOptions + kCallerData +
                                  vector<string>{"HTTPHEADER [A: 1, Connection: Keep-Alive]"} + url() +
                                  kDetachedCallerData);
}

TEST_F(HttpConnectionOptionsTest, ARetrySetsEverythingAgainWithAnyAddressFamily) {
  connection.editConnectionParameters().hostNameResolutionPolicy = http::HNRP_PreferIpv4;
  trace.clear();
  EXPECT_FALSE(get("http://" + string(64, 'x') + ".invalid/"));
  EXPECT_EQ(trace.getValues("IPRESOLVE"), (vector<string>{"1", "0"}));
  EXPECT_EQ(trace.getValues("ACCEPT_ENCODING").size(), 2u);
}

TEST_F(HttpConnectionOptionsTest, EachSetUpOptionThatFailsFailsTheRequestAndStopsNoOther) {
  const vector<string> setUp = kCreationOptions + kDefaultLoopbackOptions;
  request();
  vector<CurlCall> calls = trace.getCalls();
  calls.resize(setUp.size());
  calls.erase(calls.begin(), calls.begin() + static_cast<long>(kFreshHandleOptions.size()));
  for (const CurlCall& call : calls) {
    trace.failNone();
    trace.failOption(call.option, CURLE_UNKNOWN_OPTION);
    connection.clearConnection();
    EXPECT_FALSE(request()) << call;
    EXPECT_EQ(trace.getTexts(), setUp) << call;
    EXPECT_EQ(connection.getLastErrorMsg(), "HttpConnection error : Fail to setupconnection ") << call;
  }
}

TEST_F(HttpConnectionOptionsTest, AHandleWhoseSetUpFailedIsLost) {
  request();
  trace.failOption(CURLOPT_FOLLOWLOCATION, CURLE_UNKNOWN_OPTION);
  EXPECT_FALSE(request());
  EXPECT_EQ(trace.getTexts(), kDefaultLoopbackOptions);
  EXPECT_TRUE(server.waitForOpenConnections(0));
  trace.failNone();
  EXPECT_TRUE(request());
  EXPECT_EQ(trace.getTexts(), kCreationOptions + wholeRequest());
}

TEST_F(HttpConnectionOptionsTest, EachDataAndHeaderOptionThatFailsFailsTheRequest) {
  for (const int option : {CURLOPT_XFERINFODATA, CURLOPT_WRITEDATA, CURLOPT_READDATA, CURLOPT_HTTPHEADER}) {
    trace.failNone();
    trace.failOption(option, CURLE_UNKNOWN_OPTION);
    connection.clearConnection();
    EXPECT_FALSE(request());
    EXPECT_EQ(trace.getTexts(), kCreationOptions + kDefaultLoopbackOptions + kCallbackOptions + kCallerData + kHeaders);
    EXPECT_EQ(connection.getLastErrorMsg(), "HttpConnection error : Error while setting connection parameters ");
  }
  trace.failNone();
  EXPECT_TRUE(request());
  EXPECT_EQ(trace.getTexts(), kCreationOptions + wholeRequest());
}

TEST_F(HttpConnectionOptionsTest, AUrlThatCannotBeSetFailsTheRequest) {
  request();
  trace.failOption(CURLOPT_URL, CURLE_OUT_OF_MEMORY);
  EXPECT_FALSE(request());
  EXPECT_EQ(connection.getLastErrorMsg(), "HttpConnection error : Error while setting url ");
  trace.failNone();
  EXPECT_TRUE(request());
  EXPECT_EQ(trace.getTexts(), kCreationOptions + wholeRequest());
}

TEST_F(HttpConnectionOptionsTest, ACallbackThatRefusesIsTheEnd) {
  exchange.setup = [](CURL*) { return 1; };
  EXPECT_FALSE(request());
  EXPECT_EQ(trace.getTexts(), kCreationOptions + kDefaultLoopbackOptions + kCallbackOptions);
}

TEST(HttpConnectionWithoutLibraryOptionsTest, NoHandleIsMade) {
  const LogCapture log;
  const CurlTrace trace;
  http::HttpConnection connection(false);
  connection.getHttpData(qx::Url(string("http://127.0.0.1:1/")), "", 0, nullptr, nullptr);
  EXPECT_THAT(trace.getTexts(), IsEmpty());
}

}  // namespace
}  // namespace qx::test
