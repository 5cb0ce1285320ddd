#include "netweft/http/HttpHelpers.h"

#include "netweft/base/system/qxFlag.h"
#include "tests/http/HelpersFixture.h"

#include <type_traits>

namespace qx::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// Results, logs, parameters, connections.
class HttpHelpersTest : public HelpersFixture {
 protected:
  /// All ten functions on the same URL, as closures.
  struct Verb {
    string name;
    std::function<bool(HttpResult*, const http::ConnectionParameters*, const list<string>*, const bool*)> call;
  };
  vector<Verb> verbs(const string& path = "/a") {
    const Url target = url(path);
    http::HttpConnection& to = connection;
    return {
        {"GET", [&to, target](auto... tail) { return HttpHelpers::HttpGet(to, target, tail...); }},
        {"GET", [&to, target, this](auto... tail) { return HttpHelpers::HttpGetJson(to, target, content, tail...); }},
        {"GET", [&to, target,
                 this](auto... tail) { return HttpHelpers::HttpGetJson(to, target, content, tail..., &body, true); }},
        {"HEAD", [&to, target](auto... tail) { return HttpHelpers::HttpHead(to, target, tail...); }},
        {"DELETE", [&to, target](auto... tail) { return HttpHelpers::HttpDelete(to, target, tail...); }},
        {"POST", [&to, target, this](auto... tail) { return HttpHelpers::HttpPost(to, target, body, 200, tail...); }},
        {"POST",
         [&to, target, this](auto... tail) {
           return HttpHelpers::HttpPost(body.data(), body.size(), to, target, 200, tail...);
         }},
        {"POST",
         [&to, target, this](auto... tail) {
           return HttpHelpers::HttpPostJson(to, target, body.data(), body.size(), 200, tail...);
         }},
        {"PUT", [&to, target, this](auto... tail) { return HttpHelpers::HttpPut(to, target, body, 200, tail...); }},
        {"PUT",
         [&to, target, this](auto... tail) {
           return HttpHelpers::HttpPutJson(to, target, body.data(), body.size(), 200, tail...);
         }},
    };
  }
  static bool Run(const Verb& verb, HttpResult* result = nullptr,
                  const http::ConnectionParameters* parameters = nullptr, const list<string>* headers = nullptr,
                  const bool* abortFlag = nullptr) {
    return verb.call(result, parameters, headers, abortFlag);
  }

  string content;
  string body = "abc";
};

TEST_F(HttpHelpersTest, AnEmptyResultAsksForNothing) {
  const HttpResult result;
  EXPECT_EQ(result.content, nullptr);
  EXPECT_EQ(result.contentDevice, nullptr);
  EXPECT_EQ(result.errorMessage, nullptr);
  EXPECT_EQ(result.headers, nullptr);
  EXPECT_EQ(result.httpReturnCode, 0u);
  EXPECT_EQ(result.receivedBytes, 0u);
}

TEST_F(HttpHelpersTest, EachVerbSucceedsAndAsksWithItsName) {
  for (const Verb& verb : verbs()) {
    EXPECT_TRUE(Run(verb));
    EXPECT_EQ(last().line, verb.name + " /a HTTP/1.1");
  }
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(HttpHelpersTest, AResultGetsAllThatItAsksFor) {
  string error = "old";
  map<string, string> headers = {{"old", "old"}};
  string text = "old";
  HttpResult result;
  result.content = &text;
  result.errorMessage = &error;
  result.headers = &headers;
  result.receivedBytes = 99;
  for (const Verb& verb : verbs()) {
    if (verb.name == "HEAD") continue;
    EXPECT_TRUE(Run(verb, &result));
    EXPECT_EQ(text, "hello");
    EXPECT_EQ(error, "Http return code 200 ");
    EXPECT_EQ(headers.at("content-length"), "5");
    EXPECT_FALSE(headers.contains("old"));
    EXPECT_EQ(result.httpReturnCode, 200u);
    EXPECT_EQ(result.receivedBytes, 5u);
    EXPECT_EQ(result.content, &text);
  }
}

TEST_F(HttpHelpersTest, AFailedCallFillsItsResultToo) {
  server.queue(Reply::Http(500, "sorry"));
  string error;
  string text;
  HttpResult result;
  result.content = &text;
  result.errorMessage = &error;
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url(), &result));
  EXPECT_EQ(result.httpReturnCode, 500u);
  EXPECT_EQ(text, "sorry");
  EXPECT_EQ(error, "HttpConnection error : bad html response code, got 500, expect 200 " + root() +
                       "/a Http return code 500 ");
}

TEST_F(HttpHelpersTest, SinksAreEmptiedBeforeTheCallEvenWhenNothingComes) {
  const RefusingPort port;
  string error = "old";
  string text = "old";
  map<string, string> headers = {{"old", "old"}};
  HttpResult result;
  result.content = &text;
  result.errorMessage = &error;
  result.headers = &headers;
  result.httpReturnCode = 200;
  result.receivedBytes = 7;
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, Url(port.getUrl()), &result));
  EXPECT_EQ(text, "");
  EXPECT_THAT(headers, IsEmpty());
  EXPECT_THAT(error, StartsWith("HttpConnection error : Curl easy perform error after "));
  EXPECT_EQ(result.httpReturnCode, 0u);
  EXPECT_EQ(result.receivedBytes, 0u);
}

TEST_F(HttpHelpersTest, TheFirstOfRepeatedHeadersWinsAcrossRedirectsToo) {
  server.queue(Reply::Http(302, "moved", {{"Location", "/b"}, {"X-Hop", "first"}}));
  server.queue(Reply::Http(200, "there", {{"x-hop", "second"}, {"X-Twice", "1"}, {"X-Twice", "2"}}));
  map<string, string> headers;
  HttpResult result;
  result.headers = &headers;
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url(), &result));
  EXPECT_EQ(headers.at("x-hop"), "first");
  EXPECT_EQ(headers.at("x-twice"), "1");
  EXPECT_TRUE(headers.contains("HTTP/1.1 302 Found"));
  EXPECT_TRUE(headers.contains("HTTP/1.1 200 OK"));
  EXPECT_FALSE(headers.contains(""));
}

TEST_F(HttpHelpersTest, AHeadBringsHeadersAndNoBody) {
  string text;
  map<string, string> headers;
  HttpResult result;
  result.content = &text;
  result.headers = &headers;
  EXPECT_TRUE(HttpHelpers::HttpHead(connection, url(), &result));
  EXPECT_EQ(text, "");
  EXPECT_EQ(headers.at("content-length"), "5");
}

TEST_F(HttpHelpersTest, GetJsonPutsItsContentInPlaceOfTheResults) {
  string other = "old";
  HttpResult result;
  result.content = &other;
  content = "old";
  EXPECT_TRUE(HttpHelpers::HttpGetJson(connection, url(), content, &result));
  EXPECT_EQ(content, "hello");
  EXPECT_EQ(other, "hello");
  EXPECT_EQ(result.content, &other);
}

TEST_F(HttpHelpersTest, GetJsonTakesTheSameStringTwice) {
  HttpResult result;
  result.content = &content;
  EXPECT_TRUE(HttpHelpers::HttpGetJson(connection, url(), content, &result));
  EXPECT_EQ(content, "hello");
  EXPECT_EQ(result.content, &content);
}

TEST_F(HttpHelpersTest, GetJsonLeavesAResultWithoutContentAsItWas) {
  HttpResult result;
  EXPECT_TRUE(HttpHelpers::HttpGetJson(connection, url(), content, &result));
  EXPECT_EQ(content, "hello");
  EXPECT_EQ(result.content, nullptr);
}

TEST_F(HttpHelpersTest, GetJsonCopiesAFailuresTextToo) {
  server.queue(Reply::Http(400, "why"));
  string other;
  HttpResult result;
  result.content = &other;
  EXPECT_FALSE(HttpHelpers::HttpGetJson(connection, url(), content, &result));
  EXPECT_EQ(content, "why");
  EXPECT_EQ(other, "why");
}

TEST_F(HttpHelpersTest, AnyVerbsFailureIsLoggedWithItsName) {
  for (const Verb& verb : verbs()) {
    server.queue(Reply::Http(500));
    log.clear();
    EXPECT_FALSE(Run(verb));
    EXPECT_THAT(log.getLines(),
                ElementsAre(Detail("http", "Http " + verb.name + " error " + connection.getLastErrorMsg())));
    EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("bad html response code, got 500, expect 200"));
  }
}

TEST_F(HttpHelpersTest, ANotFoundIsAFailureThatIsNotLogged) {
  server.setHandler([](const test::Request&) { return Reply::Http(404); });
  for (const Verb& verb : verbs()) EXPECT_FALSE(Run(verb));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(HttpHelpersTest, WhoGivesAResultReadsTheErrorThere) {
  server.setHandler([](const test::Request&) { return Reply::Http(500); });
  HttpResult result;
  for (const Verb& verb : verbs()) EXPECT_FALSE(Run(verb, &result));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(HttpHelpersTest, ARaisedFlagKeepsTheLogSilentForAllVerbs) {
  server.setHandler([](const test::Request&) { return Reply::Http(500, "sorry"); });
  bool flag = true;
  for (const Verb& verb : verbs()) EXPECT_FALSE(Run(verb, nullptr, nullptr, nullptr, &flag));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(HttpHelpersTest, AFlagThatIsDownChangesNothing) {
  const bool flag = false;
  for (const Verb& verb : verbs()) EXPECT_TRUE(Run(verb, nullptr, nullptr, nullptr, &flag));
  server.setHandler([](const test::Request&) { return Reply::Http(500); });
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url(), nullptr, nullptr, nullptr, &flag));
  EXPECT_THAT(log.getLines(), testing::SizeIs(1));
}

TEST_F(HttpHelpersTest, OnlyTheExpectedStatusIsASuccess) {
  server.setHandler([](const test::Request&) { return Reply::Http(201); });
  EXPECT_TRUE(HttpHelpers::HttpPut(connection, url(), body, 201));
  EXPECT_TRUE(HttpHelpers::HttpPost(connection, url(), body, 201));
  EXPECT_FALSE(HttpHelpers::HttpPut(connection, url(), body, 200));
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url()));
  EXPECT_FALSE(HttpHelpers::HttpHead(connection, url()));
  EXPECT_FALSE(HttpHelpers::HttpDelete(connection, url()));
}

TEST_F(HttpHelpersTest, ExpectedZeroAcceptsAnyStatus) {
  server.setHandler([](const test::Request&) { return Reply::Http(500); });
  EXPECT_TRUE(HttpHelpers::HttpPut(connection, url(), body, 0));
  EXPECT_TRUE(HttpHelpers::HttpPutJson(connection, url(), body.data(), body.size(), 0));
  EXPECT_TRUE(HttpHelpers::HttpPost(connection, url(), body, 0));
}

TEST_F(HttpHelpersTest, TheExpectedStatusIsOneByteWide) {
  using Put = bool (*)(http::HttpConnection&, const Url&, const string&, unsigned char, HttpResult*,
                       const http::ConnectionParameters*, const list<string>*, const bool*);
  static_assert(std::is_same_v<Put, decltype(&HttpHelpers::HttpPut)>);
}

TEST_F(HttpHelpersTest, TheContentTypeIsNeverChecked) {
  server.queue(Reply::Http(200, "<html>", {{"Content-Type", "text/html"}}));
  EXPECT_TRUE(HttpHelpers::HttpGetJson(connection, url(), content));
  EXPECT_EQ(content, "<html>");
}

TEST_F(HttpHelpersTest, ParametersOfACallDoNotOutliveIt) {
  connection.editConnectionParameters().maxRedirects = 5;
  http::ConnectionParameters own;
  own.maxRedirects = 0;
  own.followRedirects = false;
  for (const bool good : {true, false}) {
    for (const Verb& verb : verbs()) {
      server.queue(good ? Reply::Http(200) : Reply::Http(302, "", {{"Location", "/b"}}));
      EXPECT_EQ(Run(verb, nullptr, &own), good);
      EXPECT_EQ(connection.getConnectionParameters().maxRedirects, 5);
      EXPECT_TRUE(connection.getConnectionParameters().followRedirects);
    }
  }
  EXPECT_EQ(connection.getLastHttpReturnCode(), 302);
}

TEST_F(HttpHelpersTest, ParametersComeBackAfterALostConnectionToo) {
  connection.editConnectionParameters().maxRedirects = 5;
  http::ConnectionParameters own;
  server.queue(Reply().close());
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url(), nullptr, &own));
  EXPECT_EQ(connection.getConnectionParameters().maxRedirects, 5);
}

TEST_F(HttpHelpersTest, AFallBackToAnyFamilyLastsForTheCallAlone) {
  connection.editConnectionParameters().hostNameResolutionPolicy = http::HNRP_PreferIpv4;
  const Url nowhere("http://" + string(64, 'x') + ".invalid/");
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, nowhere));
  EXPECT_EQ(connection.getConnectionParameters().hostNameResolutionPolicy, http::HNRP_PreferIpv4);
}

TEST_F(HttpHelpersTest, AnUnwelcomeStatusKeepsTheTcpConnection) {
  server.queue(Reply::Http(500));
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url()));
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url()));
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(HttpHelpersTest, AFailedTransferLosesTheTcpConnection) {
  server.queue(Reply::Raw(Reply::HeadText(200, {{"Content-Length", "9"}}) + "abc").close());
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url()));
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url()));
  EXPECT_EQ(server.getAcceptedConnections(), 2u);
}

TEST_F(HttpHelpersTest, AnUninitialisedLibraryIsToldLikeAnyFailure) {
  terminateNetweft();
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url()));
  EXPECT_THAT(log.getLines(),
              ElementsAre(Error("Netweft library not initialized."),
                          Detail("http", "Http GET error HttpConnection error : Fail to setupconnection ")));
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
}

TEST_F(HttpHelpersTest, AnAnswerThatBreaksOffInItsHeadIsAFailureWhenTheHeadersAreWanted) {
  map<string, string> headers;
  string error;
  HttpResult result;
  result.headers = &headers;
  result.errorMessage = &error;
  server.queue(Reply::Raw("HTTP/1.1 200 OK\r\nContent-Ty").close());
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url(), &result));
  EXPECT_EQ(result.httpReturnCode, 200U);
  EXPECT_THAT(error, testing::HasSubstr("The connection ended within the headers of the answer"));
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url(), &result)) << "over a new connection";
}

TEST_F(HttpHelpersTest, ARedirectHasTwoHeadsThatEnd) {
  map<string, string> headers;
  HttpResult result;
  result.headers = &headers;
  server.queue(Reply::Http(302, "", {{"Location", "/b"}}));
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url(), &result));
  server.queue(Reply::Http(302, "", {{"Location", "/b"}}));
  server.queue(Reply::Raw("HTTP/1.1 200 OK\r\nContent-Ty").close());
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url(), &result));
}

}  // namespace
}  // namespace qx::test
