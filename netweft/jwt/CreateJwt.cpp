#include "netweft/jwt/CreateJwt.h"

#include "netweft/base/crypto/Base64.h"
#include "netweft/base/crypto/Hash.h"
#include "netweft/base/crypto/internal/FamilySignatures.h"
#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxSystemUtils.h"
#include "netweft/jwt/internal/AlgTraits.h"
#include "netweft/jwt/internal/SaturatingAdd.h"

namespace qx::jwt {

namespace {

struct HeaderClaim {
  HeaderFlag flag;
  const char* name;
};

constexpr HeaderClaim sHeaderClaims[] = {{HF_Issuer, "iss"}, {HF_Subject, "sub"}, {HF_Audience, "aud"}};

qxVariantMapImpl MakeHeader(const qxVariantMapImpl& claims, const AlgTraits& alg, const string& keyId, int flags) {
  qxVariantMapImpl header;
  header["typ"] = "JWT";
  header["alg"] = string(alg.name);
  if (!keyId.empty()) header["kid"] = keyId;
  for (const HeaderClaim& claim : sHeaderClaims) {
    if ((flags & claim.flag) == 0) continue;
    if (const auto found = claims.find(claim.name); found != claims.end()) header[claim.name] = found->second;
  }
  return header;
}

bool EncodeMap(const qxVariantMapImpl& map, string& out) {
  string text;
  return json::Json2Variant::Convert(map, text, false) && base64Encode(text.data(), text.size(), out, B64_UrlSafeBare);
}

/// "exp" may be the very second of "iat": a token that nobody can use any more is still one.
bool CompleteTimes(qxVariantMapImpl& claims) {
  if (!claims.contains("exp")) return false;
  if (!claims.contains("iat")) claims["iat"] = NowSec();
  const int64 now = claims.getInteger("iat", 0);
  const int64 exp = claims.getInteger("exp", 0);
  if (exp < now || exp > SaturatingAdd(now, sMaxLifetimeSec)) {
    LogDetail("jwt") << "Exp should be in range now + ]0;24h]";
    return false;
  }
  if (!claims.contains("nbf")) claims["nbf"] = now;
  return true;
}

/// Header, dot, claims: what is protected.
bool MakeText(qxVariantMapImpl& claims, const AlgTraits& alg, const string& keyId, int flags, string& out) {
  string encodedClaims;
  if (!EncodeMap(MakeHeader(claims, alg, keyId, flags), out) || !CompleteTimes(claims) ||
      !EncodeMap(claims, encodedClaims)) {
    return false;
  }
  out += '.';
  out += encodedClaims;
  return true;
}

bool AppendSignature(string text, const bytes& signature, string& token) {
  string encoded;
  if (!base64Encode(signature.data(), signature.size(), encoded, B64_UrlSafeBare)) return false;
  text += '.';
  text += encoded;
  token.swap(text);
  return true;
}

/// Null unless `alg` is one algorithm of the family.
const AlgTraits* FindInFamily(Alg alg, int family) { return (alg & family) == 0 ? nullptr : FindAlgTraits(alg); }

}  // namespace

int64 NowSec() { return qxSystemUtils::GetSecElapsedSinceEpoch(); }

bool CreateHashedJwt(qxVariantMapImpl& claims, const string& key, Alg alg, string& token, int headerFlags) {
  const AlgTraits* traits = FindInFamily(alg, sHmacAlgs);
  if (key.empty() || traits == nullptr) return false;
  string text;
  bytes mac;
  return MakeText(claims, *traits, {}, headerFlags, text) &&
         ComputeHmac(traits->hash, key.data(), key.size(), text.data(), text.size(), mac) &&
         AppendSignature(std::move(text), mac, token);
}

bool CreateSignedJwt(qxVariantMapImpl& claims, AsymmetricKey& key, Alg alg, string& token, int headerFlags) {
  const AlgTraits* traits = FindInFamily(alg, sAsymmetricAlgs);
  if (!key.canSign() || traits == nullptr) return false;
  string text;
  bytes signature;
  return MakeText(claims, *traits, key.keyId, headerFlags, text) &&
         impl::SignDigestAsymmetric(signature, text.data(), text.size(), key, traits->hash, traits->getKeyKind(),
                                    nullptr) &&
         AppendSignature(std::move(text), signature, token);
}

}  // namespace qx::jwt
