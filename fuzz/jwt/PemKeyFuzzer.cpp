#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/base/crypto/DigestAsymmetric.h"
#include "netweft/base/crypto/EllipticCurveKey.h"
#include "netweft/base/crypto/RSAKey.h"

/// Any text as a key in PEM: there is a key of one kind at most, and what can do something has no error.
namespace qx::fuzz {
namespace {

void CheckKey(AsymmetricKey& key) {
  Require(key.hasError() == (key.capabilities == 0), "a key with an error can do nothing");
  // A private half that does not fit the public one signs nothing that holds: whether it does is not asked.
  bytes signature;
  const std::string_view text = "text";
  const bool isSigned = SignDigestAsymmetric(signature, text.data(), text.size(), key, HT_Sha256, nullptr);
  Require(isSigned != signature.empty(), "what is not signed leaves nothing behind");
  Require(!isSigned || key.canSign(), "what signs can sign");
  VerifyDigestAsymmetric(signature.data(), signature.size(), text.data(), text.size(), key, HT_Sha256, nullptr);
}

void Check(std::string_view bytes) {
  const string pem(bytes);
  RSAKey rsa(pem);
  EllipticCurveKey curve(pem);
  Require(rsa.hasError() || curve.hasError(), "a key is of one kind");
  CheckKey(rsa);
  CheckKey(curve);
}

const Target sTarget("pem_key", Check);

}  // namespace
}  // namespace qx::fuzz
