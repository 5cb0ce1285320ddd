#include "tests/http/MultiConnectionFixture.h"

namespace qx::test {
namespace {

using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

/// What stands on the wire.
class HttpMultiConnectionWireTest : public MultiConnectionFixture {
 protected:
  HttpMultiConnectionWireTest() { multi->setCommonHeaders({"A: 1"}); }

  test::Request send(int32 method, const string& body) {
    const uint64 index = server.getRequestCount();
    addPath("/a", method, body);
    EXPECT_TRUE(pumpUntilDone());
    return server.getRequest(index);
  }

  /// From the request line to the last header that each method sends.
  string head(const string& method, const string& framing = "") const {
    return method + " /a HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.getPort()) + "\r\nAccept: */*\r\n" +
           framing + "A: 1\r\nConnection: Keep-Alive\r\n";
  }
};

TEST_F(HttpMultiConnectionWireTest, AGetSendsNoBody) {
  EXPECT_EQ(send(HttpMultiConnection::M_Get, "abc").raw, head("GET") + "\r\n");
}

TEST_F(HttpMultiConnectionWireTest, AHeadSendsNoBodyAndGetsNone) {
  EXPECT_EQ(send(HttpMultiConnection::M_Head, "abc").raw, head("HEAD") + "\r\n");
  EXPECT_EQ(completions[0].httpCode, 200);
  EXPECT_EQ(completions[0].body, "");
  EXPECT_EQ(completions[0].headers.getString("content-length", ""), "2");
}

TEST_F(HttpMultiConnectionWireTest, AnAnswerThatBreaksOffInItsHeadIsNone) {
  server.queue(Reply::Raw("HTTP/1.1 200 OK\r\nContent-Ty").close());
  send(HttpMultiConnection::M_Get, "");
  EXPECT_EQ(completions[0].httpCode, -1);
  EXPECT_EQ(completions[0].errorText, "Curl error 18 The connection ended within the headers of the answer");
}

TEST_F(HttpMultiConnectionWireTest, ADeleteSendsNoBody) {
  EXPECT_EQ(send(HttpMultiConnection::M_Delete, "abc").raw, head("DELETE") + "\r\n");
  EXPECT_EQ(completions[0].body, "/a");
}

TEST_F(HttpMultiConnectionWireTest, APostSendsItsBodyWithALength) {
  EXPECT_EQ(send(HttpMultiConnection::M_Post, "abc").raw,
            head("POST") + "Content-Length: 3\r\nContent-Type: application/x-www-form-urlencoded\r\n\r\nabc");
}

TEST_F(HttpMultiConnectionWireTest, APostMayBeEmpty) {
  const test::Request request = send(HttpMultiConnection::M_Post, "");
  EXPECT_EQ(request.getHeader("Content-Length"), "0");
  EXPECT_EQ(request.body, "");
}

TEST_F(HttpMultiConnectionWireTest, APutIsChunked) {
  EXPECT_EQ(send(HttpMultiConnection::M_Put, "abc").raw,
            head("PUT", "Transfer-Encoding: chunked\r\n") + "Expect: 100-continue\r\n\r\n3\r\nabc\r\n0\r\n\r\n");
}

TEST_F(HttpMultiConnectionWireTest, ALargeBodyArrivesWhole) {
  string body;
  for (int i = 0; i < 100000; ++i) body += std::to_string(i) + " ";
  EXPECT_EQ(send(HttpMultiConnection::M_Put, body).body, body);
  EXPECT_EQ(send(HttpMultiConnection::M_Post, body).body, body);
}

TEST_F(HttpMultiConnectionWireTest, AMethodLeavesNothingToTheNextRequestOfItsSlot) {
  for (const int32 method : {HttpMultiConnection::M_Put, HttpMultiConnection::M_Head, HttpMultiConnection::M_Post,
                             HttpMultiConnection::M_Delete}) {
    send(method, "abc");
    EXPECT_EQ(send(HttpMultiConnection::M_Get, "").raw, head("GET") + "\r\n");
  }
}

TEST_F(HttpMultiConnectionWireTest, HeadersComeInTheirOrderWithTheirRepeats) {
  multi->addCommonHeader("B: 2");
  multi->addCommonHeader("A: 1");
  const test::Request request = send(HttpMultiConnection::M_Get, "");
  EXPECT_EQ(vector(request.headers.end() - 4, request.headers.end()),
            (HeaderLines{{"A", "1"}, {"B", "2"}, {"A", "1"}, {"Connection", "Keep-Alive"}}));
}

TEST_F(HttpMultiConnectionWireTest, TheUrlGoesOutEncoded) {
  auto request = std::make_unique<Request>();
  request->url = Url(server.getUrl("")).toUrl("a b/c", ".", {{"k", "&"}});
  multi->addRequest(request);
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(server.getRequest(0).target, "/a%20b%2Fc/.?k=%26");
}

TEST_F(HttpMultiConnectionWireTest, ARedirectIsFollowed) {
  server.queue(Reply::Http(302, "moved", {{"Location", "/b"}, {"X-Hop", "first"}}));
  send(HttpMultiConnection::M_Get, "");
  EXPECT_EQ(server.getRequest(1).target, "/b");
  ASSERT_THAT(completions, SizeIs(1));
  EXPECT_EQ(completions[0].httpCode, 200);
}

TEST_F(HttpMultiConnectionWireTest, ARedirectedPutCannotSendItsBodyAgain) {
  server.queue(Reply::Http(307, "", {{"Location", "/b"}}));
  send(HttpMultiConnection::M_Put, "abc");
  ASSERT_THAT(completions, SizeIs(1));
  EXPECT_EQ(completions[0].httpCode, -1);
  EXPECT_THAT(completions[0].errorText, StartsWith("Curl error 65 "));
}

struct HeaderCase {
  const char* line;
  const char* key;
  const char* value;
};

class ParseHttpHeaderTest : public testing::TestWithParam<HeaderCase> {};

TEST_P(ParseHttpHeaderTest, CutsAtTheFirstColon) {
  const string line = GetParam().line;
  string key = "old";
  string value = "old";
  http::HttpMultiConnection::ParseHttpHeader(line.data(), line.size(), key, value);
  EXPECT_EQ(key, GetParam().key) << line;
  EXPECT_EQ(value, GetParam().value) << line;
}

INSTANTIATE_TEST_SUITE_P(Lines, ParseHttpHeaderTest,
                         testing::Values(HeaderCase{"ETag: \"1-A\"\r\n", "etag", "\"1-A\""},
                                         HeaderCase{"A:b:C", "a", "b:C"},
                                         HeaderCase{"  Key \t:\t value with blanks \r\n", "key", "value with blanks"},
                                         HeaderCase{"HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK", ""},
                                         HeaderCase{"HTTP/1.1 500 Oops: Again\r\n", "http/1.1 500 oops", "Again"},
                                         HeaderCase{"\r\n", "", ""}, HeaderCase{"", "", ""}, HeaderCase{":", "", ""},
                                         HeaderCase{": value", "", "value"}, HeaderCase{"Key:", "key", ""},
                                         HeaderCase{"Key:\r\n", "key", ""}, HeaderCase{"NoColon", "NoColon", ""}));

TEST(ParseHttpHeaderBytesTest, SeesOnlyTheGivenBytesAndKeepsNulsAmongThem) {
  const string line("A\0B: c\0d: e", 11);
  string key;
  string value;
  http::HttpMultiConnection::ParseHttpHeader(line.data(), 8, key, value);
  EXPECT_EQ(key, string("a\0b", 3));
  EXPECT_EQ(value, string("c\0d", 3));
}

}  // namespace
}  // namespace qx::test
