#include "tests/jwt/TokenSupport.h"

#include "netweft/base/crypto/Base64.h"
#include "netweft/base/crypto/DigestAsymmetric.h"
#include "netweft/base/crypto/Hash.h"
#include "netweft/base/json/Json2Variant.h"
#include "netweft/jwt/internal/AlgTraits.h"
#include "tests/base/PemKeys.h"

#include <gtest/gtest.h>

namespace qx::jwt::test {

string ToUrlSafe(const string& raw) {
  string out;
  base64Encode(raw.data(), raw.size(), out, B64_UrlSafeBare);
  return out;
}

string FromUrlSafe(const string& segment) {
  bytes out;
  EXPECT_TRUE(base64Decode(segment, out, B64_UrlSafeBare)) << segment;
  return {out.begin(), out.end()};
}

string MakeText(const string& header, const string& payload) { return ToUrlSafe(header) + "." + ToUrlSafe(payload); }

string MakeMacToken(const string& header, const string& payload, const string& secret, HashType hash) {
  const string text = MakeText(header, payload);
  bytes mac;
  EXPECT_TRUE(ComputeHmac(hash, secret.data(), secret.size(), text.data(), text.size(), mac));
  return MakeToken(header, payload, {mac.begin(), mac.end()});
}

string MakeToken(const string& header, const string& payload, const string& signature) {
  return MakeText(header, payload) + "." + ToUrlSafe(signature);
}

string MakeSignedToken(const string& header, const string& payload, AsymmetricKey& key, HashType hash) {
  const string text = MakeText(header, payload);
  bytes signature;
  EXPECT_TRUE(SignDigestAsymmetric(signature, text.data(), text.size(), key, hash, nullptr));
  return MakeToken(header, payload, {signature.begin(), signature.end()});
}

string GetSignature(const string& token) { return token.substr(token.rfind('.') + 1); }
string GetText(const string& token) { return token.substr(0, token.rfind('.')); }

qxVariantMapImpl ParseMap(const string& json) {
  qxVariantMapImpl map;
  EXPECT_TRUE(json::Json2Variant::Convert(json.data(), json.size(), map)) << json;
  return map;
}

qxVariantMapImpl ReadHeader(const string& token) { return ParseMap(FromUrlSafe(token.substr(0, token.find('.')))); }

qxVariantMapImpl ReadPayload(const string& token) {
  const string text = GetText(token);
  return ParseMap(FromUrlSafe(text.substr(text.find('.') + 1)));
}

shared_ptr<AsymmetricKey> GetKeyFor(Alg alg) {
  static map<string, shared_ptr<AsymmetricKey>> keys;
  const string name = alg == ES256 ? "P-256" : alg == ES384 ? "P-384" : alg == ES512 ? "P-521" : "RSA";
  shared_ptr<AsymmetricKey>& key = keys[name];
  if (key != nullptr) return key;
  if (name == "RSA") {
    key = std::make_shared<RSAKey>(qx::test::GetRsaPem(2048).pkcs8);
  } else {
    key = std::make_shared<EllipticCurveKey>(qx::test::GetCurvePem(name).pkcs8);
  }
  return key;
}

HashType GetHashOf(Alg alg) { return FindAlgTraits(alg)->hash; }

string MakeHeader(Alg alg) { return R"({"alg":")" + AlgToString(alg) + R"(","kid":"k","typ":"JWT"})"; }

shared_ptr<AsymmetricKey> OneKeyProvider::getKeyFromId(const string& kid, Alg alg, string* error) {
  askedKid = kid;
  askedAlg = alg;
  ++asked;
  if (key == nullptr && error != nullptr) *error = reason;
  return key;
}

bool Verdict::claimsAreUntouched() const { return claims == ParseMap(R"({"before":1})"); }

Verdict Check(const Verifier& verifier, const string& token, int64 now) {
  Verdict verdict;
  verdict.claims["before"] = 1;
  verdict.cause = static_cast<Verifier::RejectCause>(77);
  verdict.accepted = verifier.validateJwtWithTimeBase(token, verdict.claims, now, &verdict.cause);
  EXPECT_EQ(verdict.accepted, verdict.cause == Verifier::RC_None);
  return verdict;
}

Verifier::RejectCause GetCause(const Verifier& verifier, const string& token, int64 now) {
  return Check(verifier, token, now).cause;
}

Verifier::RejectCause GetMacCause(const string& token, int64 now) {
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, HS256, false);
  return GetCause(verifier, token, now);
}

Verifier::RejectCause GetSignedCause(const string& token, Alg alg, int64 now) {
  OneKeyProvider provider(GetKeyFor(alg));
  Verifier verifier;
  verifier.setClientInfo({}, &provider, alg, false);
  return GetCause(verifier, token, now);
}

}  // namespace qx::jwt::test
