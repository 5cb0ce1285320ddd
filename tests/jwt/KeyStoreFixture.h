#pragma once

#include "netweft/addressing/Url.h"
#include "netweft/base/crypto/internal/CertStore.h"
#include "netweft/http/HttpConnectionPool.h"
#include "netweft/jwt/KeyStore.h"
#include "tests/http/LibraryFixture.h"
#include "tests/jwt/KeySetSamples.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TestCertificates.h"

#include <gmock/gmock.h>

namespace qx::jwt::test {

using qx::test::Reply;
using qx::test::Request;
using qx::test::ScriptedServer;
using qx::test::TestCertificates;
using qx::test::Warning;

/// A key set behind a TLS server with a certificate that the library trusts, a pool, and a store over both. The set has
/// the RSA key "rsa", the curve key "curve" and the symmetric key "oct" until told otherwise.
class KeyStoreFixture : public qx::test::LibraryFixture {
 protected:
  KeyStoreFixture() {
    EXPECT_TRUE(qx::impl::AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
    serve(MakeKeySet({RsaMembers("rsa"), CurveMembers("curve"), OctMembers("oct")}));
  }

  static unique_ptr<ScriptedServer> MakeServer(qx::test::TlsIdentity identity, uint16 port = 0) {
    return std::make_unique<ScriptedServer>(
        qx::test::ScriptedServerOptions{.tls = std::move(identity), .isIpv6 = true, .port = port});
  }

  void serve(const string& body, int status = 200) {
    server->setHandler([body, status](const Request&) { return Reply::Json(status, body); });
  }

  qx::Url url() const { return qx::Url(server->getUrl("/keys")); }
  KeyStore makeStore(const qx::Url& keySetUrl, bool verifyPeer = true) {
    return KeyStore(pool, keySetUrl, verifyPeer, http::PP_NoProxy, qx::Url(qx::Url::CS_Empty));
  }

  /// A look-up that must find the key.
  bool has(KeyStore& asked, const string& kid, Alg alg = RS256) {
    string error = "before";
    const shared_ptr<AsymmetricKey> key = asked.getKeyFromId(kid, alg, &error);
    EXPECT_EQ(key != nullptr, error == "before") << error;
    return key != nullptr;
  }
  bool has(const string& kid, Alg alg = RS256) { return has(store, kid, alg); }

  /// What a look-up that must fail says.
  string explain(KeyStore& asked, const string& kid, Alg alg = RS256) {
    string error = "before";
    EXPECT_EQ(asked.getKeyFromId(kid, alg, &error), nullptr);
    return error;
  }
  string explain(const string& kid, Alg alg = RS256) { return explain(store, kid, alg); }

  /// "Failed to query key from url https://localhost:port/keys: 500."
  qx::test::CapturedLine failure(int status) const {
    return Warning("Failed to query key from url " + server->getUrl("/keys") + ": " + std::to_string(status) + ".");
  }
  vector<qx::test::CapturedLine> warnings() const { return log.getLines(LT_Warning); }

  qx::test::LogCapture log;
  unique_ptr<ScriptedServer> server = MakeServer(TestCertificates::GetShared().createGood());
  http::HttpConnectionPool pool;
  KeyStore store = makeStore(url());
};

}  // namespace qx::jwt::test
