// Issues a token with a private key on the curve P-256, and verifies it with a key set held in memory:
//   openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 | tokens /dev/stdin
#include "netweft/netweft.h"

#include <fstream>
#include <iostream>
#include <iterator>

namespace {

using qx::jwt::Verifier;

std::string Issue(qx::AsymmetricKey& key) {
  qx::qxVariantMapImpl claims;
  claims["iss"] = "https://login.example.com";
  claims["sub"] = "somebody";
  claims["scope"] = qx::jwt::StringListToScope({"read", "write"});
  claims["jti"] = qx::jwt::CreateRandB64String(16);
  claims["exp"] = qx::jwt::NowSec() + 3600;
  std::string token;
  return qx::jwt::CreateSignedJwt(claims, key, qx::jwt::ES256, token, 0) ? token : "";
}

bool Show(const Verifier& verifier, const std::string& token) {
  qx::qxVariantMapImpl claims;
  Verifier::RejectCause cause = Verifier::RC_None;
  const bool accepted = verifier.validateJwt(token, claims, &cause);
  if (accepted) {
    std::cout << "accepted: " << qx::qxVariant(claims).toString() << std::endl;
  } else {
    std::cout << "rejected: " << Verifier::RejectCauseToString(cause) << std::endl;
  }
  return accepted;
}

}  // namespace

int main(int argc, char** argv) {
  std::ifstream file(argc == 2 ? argv[1] : "");
  const std::string pem((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const auto key = std::make_shared<qx::EllipticCurveKey>(pem);
  if (key->hasError()) {
    std::cerr << "tokens: " << key->getErrorMessage() << "\nusage: tokens PRIVATE_KEY.pem" << std::endl;
    return 2;
  }
  key->keyId = "key-1";
  const std::string token = Issue(*key);
  std::cout << token << std::endl;

  qx::jwt::LocalKeyStore keys;
  keys.addKey(key->keyId, key, qx::jwt::ES256);
  Verifier verifier;
  verifier.setClientInfo({}, &keys, qx::jwt::ES256, false);
  const bool good = Show(verifier, token);
  const bool forged = Show(verifier, token.substr(0, token.size() - 10) + "AAAAAAAAAA");
  return good && !forged ? 0 : 1;
}
