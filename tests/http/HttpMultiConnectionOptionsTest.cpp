#include "tests/http/ExpectedOptions.h"
#include "tests/http/MultiConnectionFixture.h"
#include "tests/support/CurlTrace.h"

namespace qx::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;

const vector<string> kSlotOptions =
    kFreshHandleOptions + vector<string>{"HEADERDATA set",       "HEADERFUNCTION set", "WRITEDATA set",
                                         "WRITEFUNCTION set",    "READDATA set",       "READFUNCTION set",
                                         "XFERINFOFUNCTION set", "XFERINFODATA set",   "FORBID_REUSE 0",
                                         "FRESH_CONNECT 0",      "SSLVERSION 6",       "TCP_KEEPALIVE 1",
                                         "ERRORBUFFER set",      "VERBOSE 0",          "COOKIEJAR \"/dev/null\""};
const vector<string> kHeaders = {"HTTPHEADER [A: 1, B: 2, Connection: Keep-Alive]"};

/// What the multi connection tells libcurl, call by call.
class HttpMultiConnectionOptionsTest : public MultiConnectionFixture {
 protected:
  HttpMultiConnectionOptionsTest() {
    multi->addCommonHeader("A: 1");
    multi->addCommonHeader("B: 2");
  }

  static vector<string> resetFor(size_t bodySize) {
    return {"NOBODY 0", "CUSTOMREQUEST null", "POST 0", "UPLOAD 0", "POSTFIELDSIZE " + std::to_string(bodySize)};
  }
  vector<string> url() const { return {"URL \"" + root() + "\""}; }

  vector<string> request(int32 method, const string& body = "") {
    trace.clear();
    add(root(), method, body);
    EXPECT_TRUE(pumpUntilDone());
    return trace.getTexts();
  }

  CurlTrace trace;
};

TEST_F(HttpMultiConnectionOptionsTest, EachSlotIsSetUpOnce) {
  build(2);
  EXPECT_EQ(trace.getTexts(), kSlotOptions + kSlotOptions);
}

TEST_F(HttpMultiConnectionOptionsTest, EachRequestSetsAllOptionsOfItsMethod) {
  struct Case {
    int32 method;
    vector<string> options;
  };
  const Case cases[] = {
      {HttpMultiConnection::M_Get, {}},
      {HttpMultiConnection::M_Post, {"POST 1"}},
      {HttpMultiConnection::M_Head, {"NOBODY 1", "CUSTOMREQUEST \"HEAD\""}},
      {HttpMultiConnection::M_Put, {"UPLOAD 1"}},
      {HttpMultiConnection::M_Delete, {"CUSTOMREQUEST \"DELETE\""}},
      {HttpMultiConnection::M_Get, {}},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(request(one.method, "abc"), kDefaultLoopbackOptions + resetFor(3) + one.options + kHeaders + url());
  }
}

TEST_F(HttpMultiConnectionOptionsTest, AnUnknownMethodStopsBehindTheReset) {
  EXPECT_EQ(request(7), kDefaultLoopbackOptions + resetFor(0));
}

TEST_F(HttpMultiConnectionOptionsTest, ParametersAreAppliedToEachRequest) {
  multi->editConnectionParameters().maxRedirects = 9;
  EXPECT_THAT(request(HttpMultiConnection::M_Get), Contains("MAXREDIRS 9"));
  multi->editConnectionParameters().maxRedirects = 8;
  EXPECT_THAT(request(HttpMultiConnection::M_Get), Contains("MAXREDIRS 8"));
}

TEST_F(HttpMultiConnectionOptionsTest, AFailedOptionIsASetupErrorAfterAllWereTried) {
  for (const int option : {CURLOPT_MAXREDIRS, CURLOPT_NOBODY, CURLOPT_CUSTOMREQUEST, CURLOPT_POST, CURLOPT_UPLOAD,
                           CURLOPT_POSTFIELDSIZE, CURLOPT_HTTPHEADER, CURLOPT_URL}) {
    log.clear();
    completions.clear();
    trace.failOption(option, CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(request(HttpMultiConnection::M_Put, "abc"),
              kDefaultLoopbackOptions + resetFor(3) + vector<string>{"UPLOAD 1"} + kHeaders + url());
    ASSERT_EQ(completions.size(), 1u);
    EXPECT_EQ(completions[0].httpCode, -1);
    EXPECT_EQ(completions[0].errorText, "Setup error");
    EXPECT_THAT(log.getLines(), ElementsAre(Error("Fail to set easy handle options")));
    trace.failNone();
  }
}

TEST_F(HttpMultiConnectionOptionsTest, ASlotWorksAgainAfterAFailedOption) {
  trace.failOption(CURLOPT_URL, CURLE_OUT_OF_MEMORY);
  request(HttpMultiConnection::M_Get);
  trace.failNone();
  EXPECT_EQ(request(HttpMultiConnection::M_Get), kDefaultLoopbackOptions + resetFor(0) + kHeaders + url());
  EXPECT_EQ(completions.back().httpCode, 200);
}

}  // namespace
}  // namespace qx::test
