// Makes a token with a key that it makes itself, and checks it.
#include "netweft/netweft.h"

#include <fstream>
#include <iostream>
#include <iterator>

namespace {

std::string Make(const std::string& pem) {
  // [making]
  auto key = std::make_shared<qx::EllipticCurveKey>(pem);  // PKCS#8 or SEC1; look at hasError()
  key->keyId = "2026-11";

  qx::qxVariantMapImpl claims;
  claims["iss"] = "https://login.example.com";
  claims["exp"] = qx::jwt::NowSec() + 3600;
  std::string token;
  qx::jwt::CreateSignedJwt(claims, *key, qx::jwt::ES256, token, qx::jwt::HF_Issuer);
  // [making]
  return token;
}

void TrustServer(qx::jwt::Verifier& verifier, const std::string& token) {
  // [server]
  qx::http::HttpConnectionPool pool;
  qx::jwt::KeyStore keys(pool, qx::Url("https://login.example.com/jwks.json"), true, qx::http::PP_Default,
                         qx::Url(qx::Url::CS_Empty));
  verifier.setClientInfo({}, &keys, qx::jwt::ES256, false);
  // [server]
  qx::qxVariantMapImpl claims;
  std::cout << (verifier.validateJwt(token, claims, nullptr) ? "accepted" : "rejected") << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  std::ifstream file(argc > 1 ? argv[1] : "");
  const std::string pem((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const std::string token = Make(pem);
  if (token.empty()) return 1;
  std::cout << token << '\n';
  if (argc > 2) {  // asks the server for its keys
    qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
    {
      qx::jwt::Verifier verifier;
      TrustServer(verifier, token);
    }
    qx::terminateNetweft();
  }
}
