#include "netweft/jwt/internal/JwkReader.h"

#include "netweft/base/crypto/Base64.h"
#include "netweft/base/crypto/RSAKey.h"
#include "netweft/jwt/Alg.h"
#include "netweft/jwt/StringToCurve.h"

namespace qx::jwt {

namespace {

constexpr const char* kFamilyMismatch = "Rejected (mismatch between \"alg\" and \"kty\")";

KeyRecord Reject(string reason) {
  KeyRecord record;
  record.rejection = std::move(reason);
  return record;
}

KeyRecord Accept(shared_ptr<AsymmetricKey> key, int allowedAlgs) {
  KeyRecord record;
  record.key = std::move(key);
  record.allowedAlgs = allowedAlgs;
  return record;
}

/// Null when there is no such member, or one that is no string.
const string* FindText(const qxVariantMapImpl& jwk, const char* name) {
  const auto found = jwk.find(name);
  return found != jwk.end() && found->second.getType() == qxVariant::VT_String ? &found->second.getString() : nullptr;
}

/// A list of operations is no string, and so counts as none.
string FindUsageFlaw(const qxVariantMapImpl& jwk) {
  const string* use = FindText(jwk, "use");
  const string* operations = FindText(jwk, "key_ops");
  if (use == nullptr && operations == nullptr) return "Rejected (no field \"use\" or \"key_ops\")";
  const bool isForOther = (use != nullptr && *use != "sig") || (operations != nullptr && *operations != "verify");
  return isForOther ? "Rejected (key is not meant for signature validation)" : "";
}

/// False when the member is missing, empty or not decodable.
bool ReadNumber(const qxVariantMapImpl& jwk, const char* name, bytes& out) {
  const string text = jwk.getString(name, "");
  return !text.empty() && base64Decode(text, out, B64_UrlSafeBare);
}

bool IsAlgOf(int family, Alg alg) { return alg == AlgNone || (alg & family) != 0; }

KeyRecord ReadRsaKey(const qxVariantMapImpl& jwk, Alg alg) {
  bytes n;
  bytes e;
  if (!ReadNumber(jwk, "n", n) || !ReadNumber(jwk, "e", e)) {
    return Reject("Rejected (RSA n or e parameters are invalid)");
  }
  if (!IsAlgOf(sRsaAlgs, alg)) return Reject(kFamilyMismatch);
  const auto key = std::make_shared<RSAKey>(n, e);
  if (key->hasError()) return Reject("Rejected (RSA key error : " + key->getErrorMessage() + ")");
  return Accept(key, sRsaAlgs);
}

KeyRecord ReadEllipticCurveKey(const qxVariantMapImpl& jwk, Alg alg) {
  const string curveName = jwk.getString("crv", "");
  bytes x;
  bytes y;
  if (curveName.empty() || !ReadNumber(jwk, "x", x) || !ReadNumber(jwk, "y", y)) {
    return Reject("Rejected (ECDSA crv, x, or y parameters are invalid)");
  }
  const EllipticCurve curve = StringToCurve(curveName);
  if (string flaw = FindCurveFlaw(curve); !flaw.empty()) return Reject(std::move(flaw));
  if (!IsAlgOf(sEllipticCurveAlgs, alg)) return Reject(kFamilyMismatch);
  const auto key = std::make_shared<EllipticCurveKey>(curve, x, y);
  if (key->hasError()) return Reject("Rejected (ECDSA key error : " + key->getErrorMessage() + ")");
  return Accept(key, sEllipticCurveAlgs);
}

}  // namespace

string FindCurveFlaw(EllipticCurve curve) {
  switch (curve) {
    case EC_P256:
    case EC_P384:
    case EC_P521: return {};
    case EC_Unknown: return "Rejected (unrecognised ECDSA curve specified in \"crv\")";
  }
  return "Rejected (non-standard curve specified in \"crv\")";
}

KeyRecord ReadJwk(const qxVariantMapImpl& jwk) {
  if (string flaw = FindUsageFlaw(jwk); !flaw.empty()) return Reject(std::move(flaw));
  const string algName = jwk.getString("alg", "");
  const Alg alg = StringToAlg(algName);
  if (alg == AlgNone && !algName.empty()) {
    return Reject("Rejected ( '" + algName + "' unsupported value for 'alg' field)");
  }
  const string kind = jwk.getString("kty", "");
  if (kind == "RSA") return ReadRsaKey(jwk, alg);
  if (kind == "EC") return ReadEllipticCurveKey(jwk, alg);
  return Reject(kind == "oct" ? "Rejected (key is symmetric)" : "Rejected (invalid field \"kty\")");
}

}  // namespace qx::jwt
