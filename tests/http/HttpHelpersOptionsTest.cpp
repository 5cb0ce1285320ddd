#include "netweft/http/internal/HttpHelperRequest.h"
#include "tests/http/ExpectedOptions.h"
#include "tests/http/HelpersFixture.h"
#include "tests/support/CurlTrace.h"

namespace qx::test {
namespace {

using http::impl::HttpHelperRequest;
using testing::ElementsAre;
using testing::HasSubstr;

const vector<string> kResponse = {"WRITEFUNCTION set", "XFERINFOFUNCTION set", "XFERINFODATA set"};
const vector<string> kReset = {"NOPROGRESS 1",
                               "NOBODY 0",
                               "CUSTOMREQUEST null",
                               "POST 0",
                               "UPLOAD 0",
                               "READFUNCTION null",
                               "POSTFIELDSIZE 0",
                               "HEADERDATA null",
                               "HEADERFUNCTION null",
                               "CUSTOMREQUEST null",
                               "IOCTLDATA set",
                               "IOCTLFUNCTION set"};
const vector<string> kHeaderFunction = {"HEADERDATA set", "HEADERFUNCTION set"};
const vector<string> kCallerData = {"XFERINFODATA set", "WRITEDATA set", "READDATA set"};
const vector<string> kForgotten = {"XFERINFODATA null", "WRITEDATA null",     "READDATA null", "HEADERFUNCTION null",
                                   "HEADERDATA null",   "IOCTLFUNCTION null", "IOCTLDATA null"};
const vector<string> kUploadOfThree = {"UPLOAD 1", "READFUNCTION set", "INFILESIZE 3"};
const vector<string> kPostOfThree = {"POST 1", "READFUNCTION set", "POSTFIELDSIZE 3"};

/// What the helpers tell libcurl, call by call.
class HttpHelpersOptionsTest : public HelpersFixture {
 protected:
  HttpHelpersOptionsTest() {
    HttpHelpers::HttpGet(connection, url());
    trace.clear();
  }

  vector<string> headersAndUrl(const string& type) const {
    return {"HTTPHEADER [Content-Type:" + type + ", Connection: Keep-Alive]", "URL \"" + root() + "/a\""};
  }
  /// On an open handle, without a header sink.
  vector<string> wholeRequest(const vector<string>& verbOptions,
                              const string& type = "application/octet-stream") const {
    return kDefaultLoopbackOptions + kResponse + kReset + verbOptions + kCallerData + headersAndUrl(type) + kForgotten;
  }
  vector<string> take() {
    vector<string> texts = trace.getTexts();
    trace.clear();
    return texts;
  }

  string content;
  const string body = "abc";
  CurlTrace trace;
};

TEST_F(HttpHelpersOptionsTest, AGet) {
  HttpHelpers::HttpGet(connection, url());
  EXPECT_EQ(take(), wholeRequest({}));
  HttpHelpers::HttpGetJson(connection, url(), content);
  EXPECT_EQ(take(), wholeRequest({}));
}

TEST_F(HttpHelpersOptionsTest, AGetWithABody) {
  const vector<string> options = kUploadOfThree + vector<string>{"CUSTOMREQUEST \"GET\""};
  HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, nullptr, &body, true);
  EXPECT_EQ(take(), wholeRequest(options, "application/json"));
  HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, nullptr, body.data(), 3, false);
  EXPECT_EQ(take(), wholeRequest(options));
}

TEST_F(HttpHelpersOptionsTest, APut) {
  HttpHelpers::HttpPut(connection, url(), body, 200);
  EXPECT_EQ(take(), wholeRequest(kUploadOfThree));
  HttpHelpers::HttpPutJson(connection, url(), body.data(), 3, 200);
  EXPECT_EQ(take(), wholeRequest(kUploadOfThree, "application/json"));
}

TEST_F(HttpHelpersOptionsTest, APost) {
  HttpHelpers::HttpPost(connection, url(), body, 200);
  EXPECT_EQ(take(), wholeRequest(kPostOfThree));
  HttpHelpers::HttpPost(body.data(), 3, connection, url(), 200);
  EXPECT_EQ(take(), wholeRequest(kPostOfThree));
  HttpHelpers::HttpPostJson(connection, url(), body.data(), 3, 200);
  EXPECT_EQ(take(), wholeRequest(kPostOfThree, "application/json"));
  HttpHelpers::HttpPost(connection, url(), "", 200);
  EXPECT_EQ(take(), wholeRequest({"POST 1", "READFUNCTION set", "POSTFIELDSIZE 0"}));
}

TEST_F(HttpHelpersOptionsTest, ADelete) {
  HttpHelpers::HttpDelete(connection, url());
  EXPECT_EQ(take(), wholeRequest({"CUSTOMREQUEST \"DELETE\""}));
}

TEST_F(HttpHelpersOptionsTest, AHead) {
  HttpHelpers::HttpHead(connection, url());
  EXPECT_EQ(take(), wholeRequest({"NOBODY 1", "CUSTOMREQUEST \"HEAD\""}));
}

TEST_F(HttpHelpersOptionsTest, AHeaderSinkIsInstalledAheadOfTheVerb) {
  map<string, string> headers;
  HttpResult result;
  result.headers = &headers;
  HttpHelpers::HttpDelete(connection, url(), &result);
  EXPECT_EQ(take(), wholeRequest(kHeaderFunction + vector<string>{"CUSTOMREQUEST \"DELETE\""}));
}

TEST_F(HttpHelpersOptionsTest, TheFunctionsGetOneRecord) {
  map<string, string> headers;
  HttpResult result;
  result.headers = &headers;
  HttpHelpers::HttpGet(connection, url(), &result);
  set<const void*> records;
  for (const CurlCall& call : trace.getCalls()) {
    for (const char* name : {"XFERINFODATA set", "IOCTLDATA set", "HEADERDATA set", "WRITEDATA set", "READDATA set"}) {
      if (call.text == name) records.insert(call.pointer);
    }
  }
  EXPECT_EQ(records.size(), 1u);
}

TEST_F(HttpHelpersOptionsTest, AFailedOptionFailsTheCallAfterAllWereTried) {
  for (const int option :
       {CURLOPT_WRITEFUNCTION, CURLOPT_XFERINFODATA, CURLOPT_NOPROGRESS, CURLOPT_NOBODY, CURLOPT_CUSTOMREQUEST,
        CURLOPT_POST, CURLOPT_UPLOAD, CURLOPT_READFUNCTION, CURLOPT_POSTFIELDSIZE, CURLOPT_HEADERFUNCTION,
        CURLOPT_IOCTLDATA, CURLOPT_IOCTLFUNCTION, CURLOPT_INFILESIZE}) {
    HttpHelpers::HttpGet(connection, url());
    trace.clear();
    trace.failOption(option, CURLE_UNKNOWN_OPTION);
    EXPECT_FALSE(HttpHelpers::HttpPut(connection, url(), body, 200));
    EXPECT_EQ(take(), kDefaultLoopbackOptions + kResponse + kReset + kUploadOfThree) << option;
    EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("HttpConnection error : User callback return and error "));
    trace.failNone();
  }
}

TEST_F(HttpHelpersOptionsTest, AVerbThatNobodyKnowsIsRefused) {
  const http::impl::CurlEasyPtr handle = http::impl::CreateEasyHandle();
  for (const int32 verb : {0, 6, -1}) {
    HttpHelperRequest request;
    request.verb = verb;
    list<string> headers;
    EXPECT_EQ(HttpHelperRequest::Setup(handle.get(), &request, headers), 2);
  }
  for (const int32 verb : {1, 2, 3, 4, 5}) {
    HttpHelperRequest request;
    request.verb = verb;
    list<string> headers;
    EXPECT_EQ(HttpHelperRequest::Setup(handle.get(), &request, headers), 0);
  }
}

TEST_F(HttpHelpersOptionsTest, TheRewindFunctionKnowsOneCommand) {
  HttpHelpers::HttpPut(connection, url(), body, 200);
  curl_ioctl_callback rewind = nullptr;
  for (const CurlCall& call : trace.getCalls()) {
    if (call.text == "IOCTLFUNCTION set")
      rewind = reinterpret_cast<curl_ioctl_callback>(reinterpret_cast<uintptr_t>(call.pointer));
  }
  ASSERT_NE(rewind, nullptr);
  HttpHelperRequest request;
  request.readPosition = 3;
  EXPECT_EQ(rewind(nullptr, CURLIOCMD_NOP, &request), CURLIOE_UNKNOWNCMD);
  EXPECT_EQ(request.readPosition, 3u);
  EXPECT_EQ(rewind(nullptr, CURLIOCMD_RESTARTREAD, &request), CURLIOE_OK);
  EXPECT_EQ(request.readPosition, 0u);
}

TEST_F(HttpHelpersOptionsTest, TheProgressFunctionFollowsTheFlag) {
  HttpHelpers::HttpGet(connection, url());
  curl_xferinfo_callback progress = nullptr;
  for (const CurlCall& call : trace.getCalls()) {
    if (call.text == "XFERINFOFUNCTION set")
      progress = reinterpret_cast<curl_xferinfo_callback>(reinterpret_cast<uintptr_t>(call.pointer));
  }
  ASSERT_NE(progress, nullptr);
  HttpHelperRequest request;
  EXPECT_EQ(progress(&request, 0, 0, 0, 0), 0);
  const bool flag = true;
  request.abortFlag = &flag;
  EXPECT_EQ(progress(&request, 0, 0, 0, 0), 1);
}

// A request of the connection's own, after a helper's, must not reach into the helper's stack.
TEST_F(HttpHelpersOptionsTest, ADirectRequestAfterwardsMeetsNoForgottenRecord) {
  map<string, string> headers;
  HttpResult result;
  result.headers = &headers;
  HttpHelpers::HttpPut(connection, url(), body, 200, &result);
  headers.clear();
  server.queue(Reply::Http(200, "", {{"X-Direct", "1"}}));
  EXPECT_TRUE(connection.getHttpData(
      url(), "", 200, [](void* handle, void*, list<string>&) { return http::impl::SetLong(handle, CURLOPT_UPLOAD, 0); },
      nullptr));
  EXPECT_TRUE(headers.empty());
}

}  // namespace
}  // namespace qx::test
