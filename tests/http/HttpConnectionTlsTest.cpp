#include "netweft/base/crypto/internal/CertStore.h"
#include "tests/http/ConnectionFixture.h"
#include "tests/support/TestCertificates.h"

#include <atomic>
#include <filesystem>
#include <thread>

namespace qx::test {
namespace {

using testing::HasSubstr;

/// Verification as strict as libcurl's own, over the shared store of trusted certificates.
class HttpConnectionTlsTest : public ConnectionFixture {
 protected:
  HttpConnectionTlsTest() { EXPECT_TRUE(impl::AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem())); }

  static ScriptedServerOptions Shows(TlsIdentity identity) { return {.tls = std::move(identity), .isIpv6 = true}; }

  /// True when the connection accepts the certificate. A refusal must be one of the peer's verification, and nothing
  /// may have been sent to such a server.
  bool accepts(const TlsIdentity& identity, const string& host) {
    ScriptedServer tls([](const Request&) { return Reply::Http(200, "hello"); }, Shows(identity));
    http::HttpConnection fresh(false);
    const bool succeeded = fresh.getHttpData(qx::Url(tls.getUrlFor(host)), "", 200, Exchange::Setup, &exchange);
    EXPECT_NE(succeeded, fresh.isLastCallUnableToVerifyPeer()) << fresh.getLastErrorMsg();
    EXPECT_EQ(tls.getRequestCount(), succeeded ? 1u : 0u);
    return succeeded;
  }

  /// What libcurl itself does with the same certificate, the authority given as a file.
  static bool IsAcceptedByLibcurl(const TlsIdentity& identity, const string& host) {
    ScriptedServer tls([](const Request&) { return Reply::Http(200, ""); }, Shows(identity));
    const string authority = testing::TempDir() + "netweft-authority-" + std::to_string(tls.getPort()) + ".pem";
    EXPECT_TRUE(TestCertificates::GetShared().writeAuthority(authority));
    const http::impl::CurlEasyPtr handle(curl_easy_init());
    http::impl::SetText(handle.get(), CURLOPT_URL, tls.getUrlFor(host).c_str());
    http::impl::SetText(handle.get(), CURLOPT_CAINFO, authority.c_str());
    http::impl::SetText(handle.get(), CURLOPT_PROXY, "");
    const CURLcode code = curl_easy_perform(handle.get());
    std::filesystem::remove(authority);
    return code == CURLE_OK;
  }

  const TestCertificates& certificates = TestCertificates::GetShared();
};

TEST_F(HttpConnectionTlsTest, AGoodCertificateIsAccepted) {
  EXPECT_TRUE(accepts(certificates.createGood(), "localhost"));
  EXPECT_TRUE(accepts(certificates.createGood(), "[::1]"));
}

TEST_F(HttpConnectionTlsTest, ACertificateOfAnotherHostIsRefused) {
  EXPECT_FALSE(accepts(certificates.createForOtherHost(), "localhost"));
  EXPECT_FALSE(accepts(certificates.createForOtherHost(), "[::1]"));
}

TEST_F(HttpConnectionTlsTest, AnExpiredCertificateIsRefused) {
  EXPECT_FALSE(accepts(certificates.createExpired(), "localhost"));
}

TEST_F(HttpConnectionTlsTest, ASelfSignedCertificateIsRefused) {
  EXPECT_FALSE(accepts(TestCertificates::CreateSelfSigned(), "localhost"));
}

TEST_F(HttpConnectionTlsTest, ACertificateOfAnUnknownIssuerIsRefused) {
  EXPECT_FALSE(accepts(TestCertificates::CreateFromUnknownIssuer(), "localhost"));
}

TEST_F(HttpConnectionTlsTest, EachCertificateIsJudgedAsByLibcurlItself) {
  const pair<const char*, TlsIdentity> identities[] = {
      {"good", certificates.createGood()},
      {"other host", certificates.createForOtherHost()},
      {"expired", certificates.createExpired()},
      {"self-signed", TestCertificates::CreateSelfSigned()},
      {"unknown issuer", TestCertificates::CreateFromUnknownIssuer()},
  };
  for (const auto& [name, identity] : identities) {
    for (const char* host : {"localhost", "[::1]"}) {
      EXPECT_EQ(accepts(identity, host), IsAcceptedByLibcurl(identity, host)) << name << " at " << host;
    }
  }
}

TEST_F(HttpConnectionTlsTest, LoopbackByAddressIsNotVerified) {
  EXPECT_TRUE(accepts(TestCertificates::CreateSelfSigned(), "127.0.0.1"));
  EXPECT_TRUE(accepts(certificates.createForOtherHost(), "127.0.0.1"));
}

TEST_F(HttpConnectionTlsTest, WithoutVerificationEveryCertificateWillDo) {
  SetVerifySSLCertByDefault(false);
  EXPECT_TRUE(accepts(TestCertificates::CreateSelfSigned(), "localhost"));
  EXPECT_TRUE(accepts(certificates.createExpired(), "localhost"));
}

TEST_F(HttpConnectionTlsTest, AConnectionThatWasNotVerifiedIsNotReusedForARequestThatIs) {
  ScriptedServer tls([](const Request&) { return Reply::Http(200); }, Shows(TestCertificates::CreateSelfSigned()));
  connection.editConnectionParameters().sslValidatePolicy = http::SVP_NoVerify;
  EXPECT_TRUE(get(tls.getUrl()));
  connection.editConnectionParameters().sslValidatePolicy = http::SVP_VerifyPeerAndHost;
  EXPECT_FALSE(get(tls.getUrl()));
  EXPECT_TRUE(connection.isLastCallUnableToVerifyPeer());
  EXPECT_EQ(tls.getRequestCount(), 1u);
}

TEST_F(HttpConnectionTlsTest, AGoodServerAfterABadOneIsStillAcceptedAndTheOtherWayRound) {
  ScriptedServer good([](const Request&) { return Reply::Http(200); }, Shows(certificates.createGood()));
  ScriptedServer bad([](const Request&) { return Reply::Http(200); }, Shows(TestCertificates::CreateSelfSigned()));
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(get(bad.getUrl()));
    EXPECT_TRUE(get(good.getUrl()));
  }
  EXPECT_EQ(bad.getRequestCount(), 0u);
}

TEST_F(HttpConnectionTlsTest, OneTlsConnectionServesManyRequests) {
  ScriptedServer tls([](const Request&) { return Reply::Http(200); }, Shows(certificates.createGood()));
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(get(tls.getUrl()));
  EXPECT_EQ(tls.getAcceptedConnections(), 1u);
}

TEST_F(HttpConnectionTlsTest, ALostHandleConnectsAndVerifiesAnew) {
  ScriptedServer tls([](const Request&) { return Reply::Http(200); }, Shows(certificates.createGood()));
  EXPECT_TRUE(get(tls.getUrl()));
  connection.clearConnection();
  EXPECT_TRUE(get(tls.getUrl()));
  EXPECT_EQ(tls.getAcceptedConnections(), 2u);
}

TEST_F(HttpConnectionTlsTest, ConnectionsOfDifferentThreadsShareTheTrustedCertificates) {
  ScriptedServer good([](const Request&) { return Reply::Http(200); }, Shows(certificates.createGood()));
  ScriptedServer bad([](const Request&) { return Reply::Http(200); }, Shows(TestCertificates::CreateSelfSigned()));
  std::atomic<int> accepted = 0;
  std::atomic<int> refused = 0;
  vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 5; ++round) {
        http::HttpConnection own(false);
        Exchange ownExchange;
        if (own.getHttpData(qx::Url(good.getUrl()), "", 200, Exchange::Setup, &ownExchange)) ++accepted;
        own.getHttpData(qx::Url(bad.getUrl()), "", 200, Exchange::Setup, &ownExchange);
        if (own.isLastCallUnableToVerifyPeer()) ++refused;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(accepted, 20);
  EXPECT_EQ(refused, 20);
}

TEST_F(HttpConnectionTlsTest, NothingBelowTls12IsSpoken) {
  ScriptedServer old([](const Request&) { return Reply::Http(200); },
                     {.tls = certificates.createGood(), .isTls11 = true});
  EXPECT_FALSE(get(old.getUrl()));
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 35 ("));
  EXPECT_EQ(old.getRequestCount(), 0u);
}

TEST_F(HttpConnectionTlsTest, ARedirectToABadCertificateIsRefused) {
  ScriptedServer bad([](const Request&) { return Reply::Http(200); }, Shows(TestCertificates::CreateSelfSigned()));
  server.queue(Reply::Http(302, "", {{"Location", bad.getUrl()}}));
  EXPECT_FALSE(get(server.getUrlFor("localhost")));
  EXPECT_TRUE(connection.isLastCallUnableToVerifyPeer());
  EXPECT_EQ(bad.getRequestCount(), 0u);
}

}  // namespace
}  // namespace qx::test
