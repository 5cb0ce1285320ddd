#include "netweft/http/internal/JsonPost.h"

#include "netweft/addressing/Url.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/internal/CurlEasy.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/CurlTrace.h"
#include "tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace qx::test {
namespace {

class JsonPostTest : public LibraryFixture {
 protected:
  bool perform(const string& body) {
    post.body.assign(body.begin(), body.end());
    return post.perform(connection, Url(server.getUrl("/x")));
  }

  ScriptedServer server;
  http::HttpConnection connection{true};
  http::impl::JsonPost post;
};

TEST_F(JsonPostTest, TheBodyGoesOutAndTheAnswerComesBack) {
  server.queue(Reply::Json(200, "{\"a\":1}"));
  EXPECT_TRUE(perform("{\"b\":2}"));
  EXPECT_EQ(post.response, "{\"a\":1}");
  const Request request = server.getRequest(0);
  EXPECT_EQ(request.line, "POST /x HTTP/1.1");
  EXPECT_EQ(request.body, "{\"b\":2}");
  EXPECT_TRUE(request.hasHeaderLine("Content-Type: application/json"));
}

TEST_F(JsonPostTest, OptionsAreSetInOrder) {
  const CurlTrace trace;
  server.queue(Reply::Json(200, "{}"));
  EXPECT_TRUE(perform("12345"));
  const vector<string> texts = trace.getTexts();
  const vector<string> expected = {"WRITEFUNCTION set", "READFUNCTION set", "XFERINFOFUNCTION set", "POST 1",
                                   "POSTFIELDSIZE 5"};
  EXPECT_NE(std::search(texts.begin(), texts.end(), expected.begin(), expected.end()), texts.end());
}

TEST_F(JsonPostTest, AFailedOptionFailsTheRequest) {
  CurlTrace trace;
  for (const int option :
       {CURLOPT_WRITEFUNCTION, CURLOPT_READFUNCTION, CURLOPT_XFERINFOFUNCTION, CURLOPT_POST, CURLOPT_POSTFIELDSIZE}) {
    trace.failOption(option, 43);
    EXPECT_FALSE(perform("{}")) << option;
    trace.failNone();
  }
  EXPECT_EQ(server.getRequestCount(), 0u);
}

TEST_F(JsonPostTest, AnyOtherStatusIsAFailure) {
  server.queue(Reply::Json(201, "{}"));
  EXPECT_FALSE(perform("{}"));
  EXPECT_EQ(connection.getLastHttpReturnCode(), 201);
}

TEST_F(JsonPostTest, OneObjectServesManyRequests) {
  server.queue(Reply::Json(200, "long answer"));
  server.queue(Reply::Json(200, "short"));
  EXPECT_TRUE(perform("a long body"));
  EXPECT_TRUE(perform("body"));
  EXPECT_EQ(post.response, "short");
  EXPECT_EQ(server.getRequest(1).body, "body");
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(JsonPostTest, ABodyOfMegabytesArrivesWhole) {
  const string body(3'000'000, 'b');
  server.queue(Reply::Json(200, string(3'000'000, 'a')));
  EXPECT_TRUE(perform(body));
  EXPECT_EQ(server.getRequest(0).body, body);
  EXPECT_EQ(post.response, string(3'000'000, 'a'));
}

TEST_F(JsonPostTest, AnEmptyBodyIsPostedToo) {
  server.queue(Reply::Json(200, "{}"));
  EXPECT_TRUE(perform(""));
  EXPECT_TRUE(server.getRequest(0).hasHeaderLine("Content-Length: 0"));
}

}  // namespace
}  // namespace qx::test
