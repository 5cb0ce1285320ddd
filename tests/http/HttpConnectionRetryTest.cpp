#include "tests/http/ConnectionFixture.h"
#include "tests/support/TestCertificates.h"

namespace qx::test {
namespace {

using testing::HasSubstr;

/// No resolver takes a label of 64 characters, so that this name fails at once and never reaches a network.
const string kUnknownHost = string(64, 'x') + ".invalid";

/// The one retry with any address family.
class HttpConnectionRetryTest : public ConnectionFixture {
 protected:
  void prefer(http::HostNameResolutionPolicy policy) {
    connection.editConnectionParameters().hostNameResolutionPolicy = policy;
  }
  http::HostNameResolutionPolicy policy() const {
    return connection.getConnectionParameters().hostNameResolutionPolicy;
  }

  /// The unknown host gets one address in libcurl's own cache.
  void resolveUnknownHostTo(const string& address) {
    addresses.append(kUnknownHost + ":" + std::to_string(server.getPort()) + ":" + address);
    exchange.setup = [this](CURL* handle) { return http::impl::SetList(handle, CURLOPT_RESOLVE, addresses.get()); };
  }

  bool getUnknown() { return get(server.getUrlFor(kUnknownHost)); }

  http::impl::CurlStringList addresses;
};

TEST_F(HttpConnectionRetryTest, AHostOfTheOtherFamilyIsAskedOnceMoreWithAnyFamily) {
  prefer(http::HNRP_PreferIpv6);
  resolveUnknownHostTo("127.0.0.1");
  EXPECT_TRUE(getUnknown());
  EXPECT_EQ(exchange.body, "hello");
  EXPECT_EQ(exchange.setups, 2);
  EXPECT_EQ(policy(), http::HNRP_Whatever);
}

TEST_F(HttpConnectionRetryTest, AHostThatNobodyKnowsIsAskedTwice) {
  prefer(http::HNRP_PreferIpv4);
  EXPECT_FALSE(getUnknown());
  EXPECT_EQ(exchange.setups, 2);
  EXPECT_EQ(policy(), http::HNRP_Whatever);
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 6 ("));
}

TEST_F(HttpConnectionRetryTest, TheNextRequestIsNotRetriedAnyMore) {
  prefer(http::HNRP_PreferIpv4);
  getUnknown();
  exchange.setups = 0;
  EXPECT_FALSE(getUnknown());
  EXPECT_EQ(exchange.setups, 1);
}

TEST_F(HttpConnectionRetryTest, ThePreferenceOfTheProcessIsNotRetried) {
  SetDefaultHostNameResolutionPolicy(http::HNRP_PreferIpv4);
  EXPECT_FALSE(getUnknown());
  EXPECT_EQ(exchange.setups, 1);
  EXPECT_EQ(policy(), http::HNRP_Default);
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 6 ("));
}

TEST_F(HttpConnectionRetryTest, WithoutAPreferenceThereIsNoRetry) {
  prefer(http::HNRP_Whatever);
  EXPECT_FALSE(getUnknown());
  EXPECT_EQ(exchange.setups, 1);
}

TEST_F(HttpConnectionRetryTest, AnAddressIsNotRetried) {
  prefer(http::HNRP_PreferIpv4);
  addresses.append("::" + kUnknownHost + ":80");
  exchange.setup = [this](CURL* handle) { return http::impl::SetList(handle, CURLOPT_CONNECT_TO, addresses.get()); };
  EXPECT_FALSE(get());
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 6 ("));
  EXPECT_EQ(exchange.setups, 1);
  EXPECT_EQ(policy(), http::HNRP_PreferIpv4);
}

TEST_F(HttpConnectionRetryTest, ARefusedConnectionIsNotRetried) {
  prefer(http::HNRP_PreferIpv4);
  const RefusingPort port;
  EXPECT_FALSE(get("http://localhost:" + std::to_string(port.getPort()) + "/"));
  EXPECT_EQ(exchange.setups, 1);
  EXPECT_EQ(policy(), http::HNRP_PreferIpv4);
}

TEST_F(HttpConnectionRetryTest, AnUnwelcomeStatusIsNotRetried) {
  prefer(http::HNRP_PreferIpv4);
  server.queue(Reply::Http(404));
  EXPECT_FALSE(get(server.getUrlFor("localhost"), "", 200));
  EXPECT_EQ(exchange.setups, 1);
}

TEST_F(HttpConnectionRetryTest, ACallbackThatRefusesIsNotRetried) {
  prefer(http::HNRP_PreferIpv4);
  exchange.setup = [](CURL*) { return CURLE_COULDNT_RESOLVE_HOST; };
  EXPECT_FALSE(getUnknown());
  EXPECT_EQ(exchange.setups, 1);
}

TEST_F(HttpConnectionRetryTest, ACertificateThatDoesNotHoldIsTriedOnceMore) {
  ScriptedServer tls({.tls = TestCertificates::CreateSelfSigned()});
  prefer(http::HNRP_PreferIpv4);
  EXPECT_FALSE(get(tls.getUrl()));
  EXPECT_TRUE(connection.isLastCallUnableToVerifyPeer());
  EXPECT_EQ(exchange.setups, 2);
  EXPECT_EQ(tls.getAcceptedConnections(), 2u);
  EXPECT_EQ(policy(), http::HNRP_Whatever);
}

TEST_F(HttpConnectionRetryTest, ACertificateThatDoesNotHoldIsTriedOnceWithoutAPreference) {
  ScriptedServer tls({.tls = TestCertificates::CreateSelfSigned()});
  EXPECT_FALSE(get(tls.getUrl()));
  EXPECT_TRUE(connection.isLastCallUnableToVerifyPeer());
  EXPECT_EQ(tls.getAcceptedConnections(), 1u);
}

TEST_F(HttpConnectionRetryTest, ACertificateThatDoesNotHoldForAnAddressIsTriedOnce) {
  ScriptedServer tls({.tls = TestCertificates::CreateSelfSigned(), .isIpv6 = true});
  prefer(http::HNRP_PreferIpv6);
  EXPECT_FALSE(get(tls.getUrlFor("[::1]")));
  EXPECT_TRUE(connection.isLastCallUnableToVerifyPeer());
  EXPECT_EQ(tls.getAcceptedConnections(), 1u);
  EXPECT_EQ(policy(), http::HNRP_PreferIpv6);
}

TEST_F(HttpConnectionRetryTest, ACertificateStoreThatCannotBeInstalledIsTriedOnceMore) {
  ScriptedServer tls({.tls = TestCertificates::CreateSelfSigned()});
  prefer(http::HNRP_PreferIpv4);
  exchange.setup = [](CURL* handle) {
    return http::impl::SetFunction(
        handle, CURLOPT_SSL_CTX_FUNCTION, +[](CURL*, void*, void*) { return CURLE_SSL_CERTPROBLEM; });
  };
  EXPECT_FALSE(get(tls.getUrl()));
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 58 ("));
  EXPECT_FALSE(connection.isLastCallUnableToVerifyPeer());
  EXPECT_EQ(exchange.setups, 2);
  EXPECT_TRUE(tls.waitForConnections(2));
  EXPECT_EQ(tls.getAcceptedConnections(), 2u);
  EXPECT_EQ(policy(), http::HNRP_Whatever);
}

}  // namespace
}  // namespace qx::test
