#include "tests/http/ConnectionFixture.h"

#include <sys/stat.h>
#include <zlib.h>

namespace qx::test {
namespace {

using testing::HasSubstr;

string Gzip(string text) {
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
  string out(text.size() + 100, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(text.data());
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

/// Redirects, cookies, encodings and paths as they go over the wire.
class HttpConnectionTransferTest : public ConnectionFixture {
 protected:
  void redirectTo(const string& location) { server.queue(Reply::Http(302, "", {{"Location", location}})); }
};

TEST_F(HttpConnectionTransferTest, RedirectsAreFollowedUpToTheLimit) {
  for (int i = 0; i < 3; ++i) redirectTo("/next");
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_EQ(server.getRequestCount(), 4u);
}

TEST_F(HttpConnectionTransferTest, OneRedirectTooManyEndsTheRequest) {
  for (int i = 0; i < 4; ++i) redirectTo("/next");
  EXPECT_FALSE(get());
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 47 ("));
  EXPECT_EQ(server.getRequestCount(), 4u);
}

TEST_F(HttpConnectionTransferTest, ANegativeLimitFollowsNoRedirect) {
  connection.editConnectionParameters().maxRedirects = -1;
  redirectTo("/next");
  EXPECT_FALSE(get());
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 47 ("));
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(HttpConnectionTransferTest, ARedirectIsAnAnswerWhenNoneIsFollowed) {
  connection.editConnectionParameters().followRedirects = false;
  redirectTo("/next");
  EXPECT_TRUE(get(root(), "", 302));
}

TEST_F(HttpConnectionTransferTest, ARedirectToAnotherSchemeIsRefused) {
  ScriptedServer other([](const Request&) { return Reply::Http(200); });
  const string rest = "://127.0.0.1:" + std::to_string(other.getPort()) + "/";
  for (const string& location : {"ftp" + rest, "gopher" + rest, string("file:///etc/passwd"), "dict" + rest}) {
    redirectTo(location);
    EXPECT_FALSE(get()) << location;
    EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 1 (")) << location;
    EXPECT_EQ(exchange.body, "") << location;
  }
  EXPECT_EQ(other.getAcceptedConnections(), 0u);
}

TEST_F(HttpConnectionTransferTest, CookiesLiveAsLongAsTheHandle) {
  server.queue(Reply::Http(200, "", {{"Set-Cookie", "a=b"}}));
  get();
  get();
  EXPECT_EQ(server.getRequest(1).getHeader("Cookie"), "a=b");
  connection.clearConnection();
  get();
  EXPECT_FALSE(server.getRequest(2).hasHeader("Cookie"));
}

TEST_F(HttpConnectionTransferTest, AHandleKeepsItsCookiesWhenKeepingIsTurnedOff) {
  server.queue(Reply::Http(200, "", {{"Set-Cookie", "a=b"}}));
  get();
  connection.editConnectionParameters().keepCookies = false;
  get();
  EXPECT_EQ(server.getRequest(1).getHeader("Cookie"), "a=b");
}

TEST_F(HttpConnectionTransferTest, TheNullDeviceOutlivesACookieJar) {
  server.queue(Reply::Http(200, "", {{"Set-Cookie", "a=b; Max-Age=1000"}}));
  get();
  connection.clearConnection();  // libcurl writes the jar now
  struct stat device {};
  ASSERT_EQ(::stat("/dev/null", &device), 0);
  EXPECT_TRUE(S_ISCHR(device.st_mode));
}

TEST_F(HttpConnectionTransferTest, CompressedAnswersArriveInPlainText) {
  const string text(10'000, 'z');
  server.queue(Reply::Http(200, Gzip(text), {{"Content-Encoding", "gzip"}}));
  EXPECT_TRUE(get());
  EXPECT_EQ(exchange.body, text);
  EXPECT_THAT(server.getRequest(0).getHeader("Accept-Encoding"), HasSubstr("gzip"));
}

TEST_F(HttpConnectionTransferTest, DotsInThePathAreSentAsTheyStand) {
  qx::Url url(root());
  url.setPath({"db", "."});
  EXPECT_TRUE(connection.getHttpData(url, "", 200, Exchange::Setup, &exchange));
  url.setPath({"db", ".."});
  EXPECT_TRUE(connection.getHttpData(url, "", 200, Exchange::Setup, &exchange));
  EXPECT_EQ(server.getRequest(0).target, "/db/.");
  EXPECT_EQ(server.getRequest(1).target, "/db/..");
}

TEST_F(HttpConnectionTransferTest, CredentialsTravelInTheHeader) {
  qx::Url url(root());
  url.setCredentialsOnHttpHeaders("user", "p:@/ss");
  EXPECT_TRUE(connection.getHttpData(url, "", 200, Exchange::Setup, &exchange));
  EXPECT_EQ(server.getRequest(0).getHeader("Authorization"), "Basic dXNlcjpwOkAvc3M=");
}

TEST_F(HttpConnectionTransferTest, APreferredFamilyIsTheOneThatIsUsed) {
  ScriptedServer both([](const Request&) { return Reply::Http(200); }, {.isIpv6 = true});
  connection.editConnectionParameters().hostNameResolutionPolicy = http::HNRP_PreferIpv6;
  connection.editConnectionParameters().debugLevel = 1;
  EXPECT_TRUE(get(both.getUrlFor("localhost")));
  EXPECT_THAT(connection.getLastDebugInformations(), HasSubstr("(::1)"));
}

}  // namespace
}  // namespace qx::test
