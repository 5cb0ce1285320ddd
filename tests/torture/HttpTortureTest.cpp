#include "netweft/addressing/Url.h"
#include "netweft/base/crypto/internal/CertStore.h"
#include "netweft/http/HttpConnectionLocker.h"
#include "netweft/http/HttpConnectionPool.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/http/HttpMultiConnection.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TestCertificates.h"
#include "tests/torture/TortureFixture.h"

namespace qx::test {
namespace {

using http::HttpConnection;
using http::HttpConnectionLocker;
using http::HttpConnectionPool;
using http::HttpHelpers;
using http::HttpMultiConnection;

const string kLong = "long enough not to fit into the string itself";
const string kQuery = "?of=this";

/// With what it got, so that a request is seen that went out without a part of it.
Reply Answer(const Request& request) {
  return Reply::Http(200, request.raw + string(3000, 'x'),
                     {{"X-Answer", kLong}, {"Content-Type", "application/json"}, {"Set-Cookie", "a=b"}});
}

class HttpTortureTest : public Torture<LibraryFixture> {
 protected:
  HttpTortureTest() { EXPECT_TRUE(impl::AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem())); }

  struct Outcome {
    bool done = false;
    string content;
    string error;
    map<string, string> headers;
  };

  static void Get(HttpConnection& connection, const Url& url, Outcome& outcome) {
    HttpHelpers::HttpResult result;
    result.errorMessage = &outcome.error;
    result.headers = &outcome.headers;
    const list<string> headers{"X-Header: " + kLong};
    outcome.done = HttpHelpers::HttpGetJson(connection, url, outcome.content, &result, nullptr, &headers);
  }

  static void Post(HttpConnection& connection, const Url& url, Outcome& outcome) {
    HttpHelpers::HttpResult result;
    result.content = &outcome.content;
    result.errorMessage = &outcome.error;
    result.headers = &outcome.headers;
    const string body = R"({"text":")" + kLong + "\"}";
    outcome.done = HttpHelpers::HttpPostJson(connection, url, body.data(), body.size(), 200, &result);
  }

  using Verb = void (*)(HttpConnection&, const Url&, Outcome&);

  /// Without the query and the cookies: without memory for them, libcurl 7.88 asks without them, and nobody is told.
  static string WithoutWhatMayBeMissing(string content) {
    for (const string& part : {kQuery, string("Cookie: a=b\r\n")}) {
      const size_t at = content.find(part);
      if (at != string::npos) content.erase(at, part.size());
    }
    return content;
  }

  /// What is called done is done: the request went out whole, and so came the answer.
  static void Check(const Attempt& attempt, bool told, const Outcome& outcome, const string& expected) {
    EXPECT_FALSE(told && outcome.done);
    EXPECT_TRUE(attempt.wasHit() || outcome.done) << outcome.error;
    if (!outcome.done) return;
    EXPECT_EQ(WithoutWhatMayBeMissing(outcome.content), WithoutWhatMayBeMissing(expected));
    EXPECT_EQ(outcome.headers.at("x-answer"), kLong);
  }

  void tortureFresh(ScriptedServer& asked, Verb verb) {
    const Url url(asked.getUrl("/a/path" + kQuery));
    HttpConnection first(true);
    const string expected = expectWorks(first, url, verb);
    failEach([&](Attempt& attempt) {
      unique_ptr<HttpConnection> connection;
      Outcome outcome;
      const bool told = attempt.runsOut([&] {
        connection = std::make_unique<HttpConnection>(true);
        verb(*connection, url, outcome);
      });
      Check(attempt, told, outcome, expected);
      if (connection != nullptr) expectWorks(*connection, url, verb);
    });
  }

  void tortureKept(ScriptedServer& asked, Verb verb) {
    const Url url(asked.getUrl("/a/path" + kQuery));
    HttpConnection first(true);
    expectWorks(first, url, verb);
    const string expected = expectWorks(first, url, verb);
    failEach([&](Attempt& attempt) {
      HttpConnection connection(true);
      expectWorks(connection, url, verb);
      Outcome outcome;
      const bool told = attempt.runsOut([&] { verb(connection, url, outcome); });
      Check(attempt, told, outcome, expected);
      expectWorks(connection, url, verb);
    });
  }

  /// Gives the answer.
  static string expectWorks(HttpConnection& connection, const Url& url, Verb verb) {
    Outcome outcome;
    verb(connection, url, outcome);
    EXPECT_TRUE(outcome.done) << outcome.error;
    EXPECT_GE(outcome.content.size(), 3000u);
    return outcome.content;
  }

  LogCapture log;
  ScriptedServer server{Answer};
  ScriptedServer tls{Answer, {.tls = TestCertificates::GetShared().createGood(), .isIpv6 = true}};
};

TEST_F(HttpTortureTest, AGetOnAFreshConnectionIsDoneOrTold) { tortureFresh(server, Get); }

TEST_F(HttpTortureTest, AGetOnAKeptConnectionIsDoneOrTold) { tortureKept(server, Get); }

TEST_F(HttpTortureTest, APostOnAFreshConnectionIsDoneOrTold) { tortureFresh(server, Post); }

TEST_F(HttpTortureTest, APostOnAKeptConnectionIsDoneOrTold) { tortureKept(server, Post); }

TEST_F(HttpTortureTest, AGetThroughTlsIsDoneOrTold) { tortureFresh(tls, Get); }

TEST_F(HttpTortureTest, APoolLendsAndTakesBackOrTells) {
  const Url url(server.getUrl("/path"));
  failEach([&](Attempt& attempt) {
    unique_ptr<HttpConnectionPool> pool;
    Outcome outcome;
    const bool told = attempt.runsOut([&] {
      pool = std::make_unique<HttpConnectionPool>();
      const HttpConnectionLocker connection(*pool, url);
      Get(*connection, url, outcome);
    });
    EXPECT_TRUE(told || attempt.wasHit() || outcome.done) << outcome.error;
    if (pool == nullptr) return;
    const HttpConnectionLocker connection(*pool, url);
    expectWorks(*connection, url, Get);
  });
}

/// A multi connection and what it completed.
struct Multi {
  struct End {
    long code;
    size_t size;
  };

  static void OnCompletion(HttpMultiConnection&, long code, const string&, const qxVariantMapImpl&,
                           vector<char>& content, void* ends, void*) {
    const FaultExemption own;
    static_cast<vector<End>*>(ends)->push_back({code, content.size()});
  }

  static void Add(HttpMultiConnection& connection, const Url& url) {
    auto request = std::make_unique<HttpMultiConnection::Request>();
    request->url = url;
    request->method = HttpMultiConnection::M_Post;
    request->body.assign(100, 'b');
    connection.addRequest(request);
  }

  static void Pump(HttpMultiConnection& connection) {
    while (!connection.isAllRequestsDone()) connection.updateConnection(10);
  }
};

TEST_F(HttpTortureTest, AMultiConnectionEndsEachRequestOnce) {
  const Url url(server.getUrl("/path"));
  failEachSingle([&](Attempt& attempt) {
    unique_ptr<HttpMultiConnection> connection;
    vector<Multi::End> ends;
    size_t added = 0;
    const bool told = attempt.runsOut([&] {
      connection = std::make_unique<HttpMultiConnection>(2);
      connection->setCallback(Multi::OnCompletion, &ends);
      connection->addCommonHeader("X-Common: " + kLong);
      for (; added < 3; ++added) Multi::Add(*connection, url);
      Multi::Pump(*connection);
    });
    EXPECT_TRUE(told || attempt.wasHit() || added == 3);
    if (connection == nullptr) return;
    Multi::Pump(*connection);
    EXPECT_EQ(ends.size(), added);
    for (const Multi::End& end : ends) EXPECT_EQ(end.code == 200, end.size > 3000);
    Multi::Add(*connection, url);
    Multi::Pump(*connection);
    EXPECT_EQ(ends.size(), added + 1);
    EXPECT_EQ(ends.back().code, 200);
    vector<Multi::End>().swap(ends);
  });
}

}  // namespace
}  // namespace qx::test
