#include "tests/http/HelpersFixture.h"

namespace qx::test {
namespace {

using testing::ElementsAre;

const string kBinary = "Content-Type:application/octet-stream\r\n";
const string kJson = "Content-Type:application/json\r\n";

/// What stands on the wire.
class HttpHelpersWireTest : public HelpersFixture {
 protected:
  /// From the request line to the headers that libcurl adds behind the request's own.
  string head(const string& method, const string& ownHeaders) const {
    return method + " /a HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.getPort()) +
           "\r\nAccept: */*\r\nAccept-Encoding: " + acceptedEncodings() + "\r\n" + ownHeaders +
           "Connection: Keep-Alive\r\n";
  }
  /// What this libcurl can decode.
  string acceptedEncodings() const { return last().getHeader("Accept-Encoding"); }

  vector<string> contentTypes() const {
    vector<string> values;
    for (const auto& [name, value] : last().headers) {
      if (name == "Content-Type") values.push_back(value);
    }
    return values;
  }

  string content;
  const string body = "abc";
};

TEST_F(HttpHelpersWireTest, AGet) {
  HttpHelpers::HttpGet(connection, url());
  EXPECT_EQ(last().raw, head("GET", kBinary) + "\r\n");
}

TEST_F(HttpHelpersWireTest, AHead) {
  HttpHelpers::HttpHead(connection, url());
  EXPECT_EQ(last().raw, head("HEAD", kBinary) + "\r\n");
}

TEST_F(HttpHelpersWireTest, ADelete) {
  HttpHelpers::HttpDelete(connection, url());
  EXPECT_EQ(last().raw, head("DELETE", kBinary) + "\r\n");
}

TEST_F(HttpHelpersWireTest, APost) {
  HttpHelpers::HttpPost(connection, url(), body, 200);
  EXPECT_EQ(last().raw, head("POST", kBinary) + "Content-Length: 3\r\n\r\nabc");
  HttpHelpers::HttpPost(body.data(), 2, connection, url(), 200);
  EXPECT_EQ(last().raw, head("POST", kBinary) + "Content-Length: 2\r\n\r\nab");
  HttpHelpers::HttpPostJson(connection, url(), body.data(), 1, 200);
  EXPECT_EQ(last().raw, head("POST", kJson) + "Content-Length: 1\r\n\r\na");
}

TEST_F(HttpHelpersWireTest, APut) {
  HttpHelpers::HttpPut(connection, url(), body, 200);
  EXPECT_EQ(last().raw, head("PUT", kBinary) + "Content-Length: 3\r\nExpect: 100-continue\r\n\r\nabc");
  HttpHelpers::HttpPutJson(connection, url(), body.data(), 2, 200);
  EXPECT_EQ(last().raw, head("PUT", kJson) + "Content-Length: 2\r\nExpect: 100-continue\r\n\r\nab");
}

TEST_F(HttpHelpersWireTest, AGetWithABody) {
  HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, nullptr, body.data(), 2, true);
  EXPECT_EQ(last().raw, head("GET", kJson) + "Content-Length: 2\r\nExpect: 100-continue\r\n\r\nab");
  HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, nullptr, &body, true);
  EXPECT_EQ(last().raw, head("GET", kJson) + "Content-Length: 3\r\nExpect: 100-continue\r\n\r\nabc");
  HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, nullptr, &body, false);
  EXPECT_EQ(last().raw, head("GET", kBinary) + "Content-Length: 3\r\nExpect: 100-continue\r\n\r\nabc");
}

TEST_F(HttpHelpersWireTest, AGetWithoutABodyIsAnOrdinaryOne) {
  const string empty;
  HttpHelpers::HttpGetJson(connection, url(), content);
  EXPECT_EQ(last().raw, head("GET", kBinary) + "\r\n");
  HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, nullptr, nullptr, 0, true);
  EXPECT_EQ(last().raw, head("GET", kBinary) + "\r\n");
  HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, nullptr,
                           static_cast<const string*>(nullptr), true);
  EXPECT_EQ(last().raw, head("GET", kBinary) + "\r\n");
  HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, nullptr, &empty, true);
  EXPECT_EQ(last().raw, head("GET", kBinary) + "\r\n");
}

TEST_F(HttpHelpersWireTest, AnEmptyBodyIsStillPosted) {
  EXPECT_TRUE(HttpHelpers::HttpPost(connection, url(), "", 200));
  EXPECT_EQ(last().raw, head("POST", kBinary) + "Content-Length: 0\r\n\r\n");
  EXPECT_TRUE(HttpHelpers::HttpPut(connection, url(), "", 200));
  EXPECT_EQ(last().raw, head("PUT", kBinary) + "Content-Length: 0\r\n\r\n");
}

TEST_F(HttpHelpersWireTest, ANullBodyIsAnEmptyOne) {
  EXPECT_TRUE(HttpHelpers::HttpPost(nullptr, 5, connection, url(), 200));
  EXPECT_EQ(last().body, "");
}

TEST_F(HttpHelpersWireTest, BodiesAreBytes) {
  const string zeros("a\0b\0", 4);
  HttpHelpers::HttpPut(connection, url(), zeros, 200);
  EXPECT_EQ(last().body, zeros);
  HttpHelpers::HttpPost(connection, url(), zeros, 200);
  EXPECT_EQ(last().body, zeros);
}

TEST_F(HttpHelpersWireTest, ALargeBodyArrivesWhole) {
  const string large(3 << 20, 'x');
  EXPECT_TRUE(HttpHelpers::HttpPut(connection, url(), large, 200));
  EXPECT_EQ(last().body, large);
  EXPECT_EQ(last().getHeader("Expect"), "100-continue");
}

TEST_F(HttpHelpersWireTest, ACallersContentTypeTakesThePlaceOfTheDefault) {
  for (const string line : {"Content-Type:text/plain", "content-type: text/plain", "X-Content-Type: text/plain"}) {
    const list<string> headers = {"A: 1", line};
    HttpHelpers::HttpPut(connection, url(), body, 200, nullptr, nullptr, &headers);
    EXPECT_FALSE(last().hasHeaderLine("Content-Type:application/octet-stream")) << line;
    EXPECT_TRUE(last().hasHeaderLine(line)) << line;
  }
}

TEST_F(HttpHelpersWireTest, AnotherLineLeavesTheDefaultInPlace) {
  const list<string> headers = {"A: 1", "X-Type: text/plain"};
  HttpHelpers::HttpPut(connection, url(), body, 200, nullptr, nullptr, &headers);
  EXPECT_THAT(contentTypes(), ElementsAre("application/octet-stream"));
}

TEST_F(HttpHelpersWireTest, AContentTypeAmongTheCommonHeadersDoesNotCount) {
  connection.addCommonHeader("Content-Type: text/plain");
  HttpHelpers::HttpPut(connection, url(), body, 200);
  EXPECT_THAT(contentTypes(), ElementsAre("text/plain", "application/octet-stream"));
}

TEST_F(HttpHelpersWireTest, TheJsonFormsAlwaysAddTheirs) {
  const list<string> headers = {"Content-Type:text/plain"};
  HttpHelpers::HttpPutJson(connection, url(), body.data(), body.size(), 200, nullptr, nullptr, &headers);
  EXPECT_THAT(contentTypes(), ElementsAre("text/plain", "application/json"));
  HttpHelpers::HttpPostJson(connection, url(), body.data(), body.size(), 200, nullptr, nullptr, &headers);
  EXPECT_THAT(contentTypes(), ElementsAre("text/plain", "application/json"));
  HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, &headers, nullptr, &body, true);
  EXPECT_THAT(contentTypes(), ElementsAre("text/plain", "application/json"));
}

TEST_F(HttpHelpersWireTest, HeadersOfACallStandBehindTheCommonOnesAndAheadOfTheContentType) {
  connection.addCommonHeader("A: 1");
  const list<string> headers = {"B: 2", "C: 3"};
  HttpHelpers::HttpGet(connection, url(), nullptr, nullptr, &headers);
  EXPECT_EQ(last().raw, head("GET", "A: 1\r\nB: 2\r\nC: 3\r\n" + kBinary) + "\r\n");
  HttpHelpers::HttpGet(connection, url());
  EXPECT_EQ(last().raw, head("GET", "A: 1\r\n" + kBinary) + "\r\n");
}

TEST_F(HttpHelpersWireTest, NothingOfOneVerbReachesTheNext) {
  HttpHelpers::HttpGet(connection, url());
  const string plain = last().raw;
  const std::function<void()> calls[] = {
      [&] { HttpHelpers::HttpPut(connection, url(), body, 200); },
      [&] { HttpHelpers::HttpPost(connection, url(), body, 200); },
      [&] { HttpHelpers::HttpHead(connection, url()); },
      [&] { HttpHelpers::HttpDelete(connection, url()); },
      [&] { HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, nullptr, &body, true); },
  };
  for (const auto& call : calls) {
    call();
    EXPECT_TRUE(HttpHelpers::HttpGetJson(connection, url(), content));
    EXPECT_EQ(last().raw, plain);
    EXPECT_EQ(content, "hello");
  }
}

TEST_F(HttpHelpersWireTest, ATemporaryRedirectSendsTheBodyAgain) {
  const Reply redirect = Reply::Http(307, "there", {{"Location", "/b"}});
  server.queue(redirect);
  EXPECT_TRUE(HttpHelpers::HttpPut(connection, url(), body, 200));
  EXPECT_EQ(last().line, "PUT /b HTTP/1.1");
  EXPECT_EQ(last().body, "abc");
  server.queue(redirect);
  EXPECT_TRUE(HttpHelpers::HttpPost(connection, url(), body, 200));
  EXPECT_EQ(last().line, "POST /b HTTP/1.1");
  EXPECT_EQ(last().body, "abc");
  server.queue(redirect);
  EXPECT_TRUE(HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, nullptr, &body, true));
  EXPECT_EQ(last().line, "GET /b HTTP/1.1");
  EXPECT_EQ(last().body, "abc");
}

}  // namespace
}  // namespace qx::test
