#include "netweft/base/crypto/internal/CertStore.h"
#include "tests/http/ConnectionFixture.h"
#include "tests/http/PacSupport.h"
#include "tests/http/ProxyEnvironment.h"
#include "tests/http/TinyProxy.h"
#include "tests/support/TestCertificates.h"

namespace qx::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

/// Requests through a real proxy.
class HttpConnectionProxyTest : public ConnectionFixture {
 protected:
  void SetUp() override {
    if (!TinyProxy::IsInstalled()) GTEST_SKIP() << "tinyproxy (Debian: tinyproxy-bin) is not installed";
  }

  void useManual(const string& url) {
    connection.editConnectionParameters().proxyPolicy = http::PP_ManualProxy;
    connection.editConnectionParameters().manualProxyUrl = qx::Url(url);
  }
  void useAutomatic() { connection.editConnectionParameters().proxyPolicy = http::PP_AutomaticProxy; }

  /// Whether the request at `index` came through a proxy.
  bool isProxied(uint64 index = 0) {
    return server.getRequest(index).getHeader("Via").find("tinyproxy") != string::npos;
  }

  ProxyEnvironment environment;
};

TEST_F(HttpConnectionProxyTest, WithoutAProxyNothingStandsBetween) {
  EXPECT_TRUE(get());
  EXPECT_FALSE(isProxied());
}

TEST_F(HttpConnectionProxyTest, AManualProxyCarriesTheRequest) {
  const TinyProxy proxy;
  useManual(proxy.getUrl());
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_EQ(exchange.body, "hello");
  EXPECT_TRUE(isProxied());
}

TEST_F(HttpConnectionProxyTest, AManualProxyGetsItsCredentials) {
  const TinyProxy proxy("user", "pass");
  useManual("http://user:pass@" + proxy.getUrl().substr(7));
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_TRUE(isProxied());
}

TEST_F(HttpConnectionProxyTest, AProxyThatRefusesTheCredentialsAnswersItself) {
  const TinyProxy proxy("user", "pass");
  useManual("http://user:wrong@" + proxy.getUrl().substr(7));
  EXPECT_FALSE(get(root(), "", 200));
  EXPECT_EQ(server.getRequestCount(), 0u);
  EXPECT_GE(connection.getLastHttpReturnCode(), 400);
}

TEST_F(HttpConnectionProxyTest, AVerifiedTlsConnectionTunnelsThroughAProxy) {
  ASSERT_TRUE(impl::AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
  ScriptedServer tls([](const Request&) { return Reply::Http(200, "safe"); },
                     {.tls = TestCertificates::GetShared().createGood()});
  const TinyProxy proxy;
  useManual(proxy.getUrl());
  connection.editConnectionParameters().debugLevel = 1;
  EXPECT_TRUE(get(tls.getUrl(), "", 200)) << connection.getLastErrorMsg();
  EXPECT_EQ(exchange.body, "safe");
  EXPECT_THAT(connection.getLastDebugInformations(), HasSubstr("> CONNECT localhost:"));
}

TEST_F(HttpConnectionProxyTest, ABadCertificateIsRefusedThroughAProxyToo) {
  ScriptedServer tls([](const Request&) { return Reply::Http(200); }, {.tls = TestCertificates::CreateSelfSigned()});
  const TinyProxy proxy;
  useManual(proxy.getUrl());
  EXPECT_FALSE(get(tls.getUrl()));
  EXPECT_TRUE(connection.isLastCallUnableToVerifyPeer());
  EXPECT_EQ(tls.getRequestCount(), 0u);
}

TEST_F(HttpConnectionProxyTest, AManualProxyThatIsNotThereFailsTheRequest) {
  const RefusingPort port;
  useManual(port.getUrl());
  EXPECT_FALSE(get());
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 7 ("));
  EXPECT_EQ(server.getRequestCount(), 0u);
}

TEST_F(HttpConnectionProxyTest, AnUnusableManualProxyLeavesADirectConnection) {
  useManual("");
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_EQ(log.count(Detail("", "Manual proxy url is invalid :// disable proxy for this call")), 2u);
  EXPECT_FALSE(isProxied());
}

TEST_F(HttpConnectionProxyTest, NoProxyMeansNotEvenThatOfTheEnvironment) {
  const RefusingPort port;
  environment.set("http_proxy", port.getUrl());
  connection.editConnectionParameters().proxyPolicy = http::PP_NoProxy;
  EXPECT_TRUE(get(root(), "", 200));
}

TEST_F(HttpConnectionProxyTest, TheAutomaticProxyIsThatOfTheEnvironment) {
  const TinyProxy proxy;
  environment.set("http_proxy", proxy.getUrl());
  useAutomatic();
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_TRUE(isProxied());
}

TEST_F(HttpConnectionProxyTest, TheAutomaticProxyMayBeTheProcesssDefault) {
  const TinyProxy proxy;
  environment.set("http_proxy", proxy.getUrl());
  SetDefaultProxyPolicy(http::PP_AutomaticProxy);
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_TRUE(isProxied());
}

TEST_F(HttpConnectionProxyTest, AnAutomaticProxyThatIsNoneIsADirectConnection) {
  useAutomatic();
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_FALSE(isProxied());
}

TEST_F(HttpConnectionProxyTest, AHostExemptInTheEnvironmentIsReachedDirectly) {
  const RefusingPort port;
  environment.set("http_proxy", port.getUrl());
  environment.set("no_proxy", "127.0.0.1");
  useAutomatic();
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_FALSE(isProxied());
}

TEST_F(HttpConnectionProxyTest, EachRequestAsksAnew) {
  const TinyProxy proxy;
  useAutomatic();
  EXPECT_TRUE(get(root(), "", 200));
  environment.set("http_proxy", proxy.getUrl());
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_FALSE(isProxied(0));
  EXPECT_TRUE(isProxied(1));
}

TEST_F(HttpConnectionProxyTest, AnAutomaticProxyThatIsNotThereFailsTheRequest) {
  const RefusingPort port;
  environment.set("http_proxy", port.getUrl());
  useAutomatic();
  EXPECT_FALSE(get(root(), "", 200));
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 7 "));
  EXPECT_THAT(server.getRequests(), IsEmpty());
}

/// A proxy script served over HTTP, as a network would serve it.
class ProxyScriptTest : public HttpConnectionProxyTest {
 protected:
  void SetUp() override {
    HttpConnectionProxyTest::SetUp();
    if (!IsPacSupported()) GTEST_SKIP() << kNoPacSupport;
  }

  void useScriptThatReturns(const string& answer) {
    script = "function FindProxyForURL(url, host) { return '" + answer + "'; }";
    environment.set("http_proxy", "pac+" + scriptServer.getUrl("/proxy.pac"));
    useAutomatic();
  }

  static string getHostAndPort(const TinyProxy& proxy) { return proxy.getUrl().substr(string("http://").size()); }

  string script;
  ScriptedServer scriptServer{[this](const Request&) { return Reply::Http(200, script); }};
};

TEST_F(ProxyScriptTest, TheScriptNamesTheProxy) {
  const TinyProxy proxy;
  useScriptThatReturns("PROXY " + getHostAndPort(proxy));
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_TRUE(isProxied());
}

TEST_F(ProxyScriptTest, ADirectAnswerIsADirectConnection) {
  useScriptThatReturns("DIRECT");
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_FALSE(isProxied());
}

TEST_F(ProxyScriptTest, OfAListTheFirstProxyIsUsed) {
  const TinyProxy proxy;
  useScriptThatReturns("PROXY " + getHostAndPort(proxy) + "; PROXY 127.0.0.1:1; DIRECT");
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_TRUE(isProxied());
}

TEST_F(ProxyScriptTest, AProxyOfTheScriptThatIsNotThereFailsTheRequest) {
  const RefusingPort port;
  useScriptThatReturns("PROXY " + port.getUrl().substr(string("http://").size()) + "; DIRECT");
  EXPECT_FALSE(get(root(), "", 200));
  EXPECT_THAT(server.getRequests(), IsEmpty());
}

TEST_F(ProxyScriptTest, AScriptThatCannotBeHadLeavesADirectConnection) {
  const RefusingPort port;
  environment.set("http_proxy", "pac+" + port.getUrl() + "/proxy.pac");
  useAutomatic();
  EXPECT_TRUE(get(root(), "", 200));
  EXPECT_FALSE(isProxied());
}

}  // namespace
}  // namespace qx::test
