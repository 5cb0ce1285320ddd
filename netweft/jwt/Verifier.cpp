#include "netweft/jwt/Verifier.h"

#include "netweft/base/crypto/Base64.h"
#include "netweft/base/crypto/Hash.h"
#include "netweft/base/crypto/internal/FamilySignatures.h"
#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/internal/AsciiText.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/jwt/CreateJwt.h"
#include "netweft/jwt/internal/AlgTraits.h"
#include "netweft/jwt/internal/SaturatingAdd.h"

#include <openssl/crypto.h>

#include <string_view>

namespace qx::jwt {

namespace {

using RejectCause = Verifier::RejectCause;

constexpr int64 sLeewaySec = 120;

/// A token in its parts. `protectedText` and `signature` lie in the caller's text.
struct Parts {
  qxVariantMapImpl header;
  qxVariantMapImpl payload;
  std::string_view protectedText;
  std::string_view signature;
};

/// The first dot at or behind `from`; `npos` when there is none, or when a NUL lies before it.
size_t FindDot(std::string_view text, size_t from) {
  const size_t dot = text.find('.', from);
  if (dot == std::string_view::npos) return dot;
  return text.substr(from, dot - from).find('\0') == std::string_view::npos ? dot : std::string_view::npos;
}

/// `out` stays untouched on failure. A segment that decodes to nothing is an empty map.
bool DecodeSegment(std::string_view segment, qxVariantMapImpl& out) {
  bytes text;
  qxVariantMapImpl map;
  if (!base64Decode(segment.data(), segment.size(), text, B64_UrlSafeBare)) return false;
  if (!text.empty() && !json::Json2Variant::Convert(text.data(), text.size(), map)) return false;
  out.swap(map);
  return true;
}

bool IsJwt(const qxVariantMapImpl& header) {
  const string type = header.getString("typ", {});
  return type.empty() || impl::EqualIgnoringCase(type, "JWT");
}

/// Null when it is unknown or not allowed.
const AlgTraits* FindAllowedAlg(const qxVariantMapImpl& header, int allowedAlgs) {
  const Alg alg = StringToAlg(header.getString("alg", {}));
  return (alg & allowedAlgs) == 0 ? nullptr : FindAlgTraits(alg);
}

/// In constant time: how long it takes must not tell how much of a guess is right.
bool AreEqual(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

RejectCause CheckMac(const Parts& parts, HashType hash, const string& secret) {
  if (secret.empty()) return Verifier::RC_Uninitialized;
  bytes mac;
  string expected;
  const std::string_view text = parts.protectedText;
  if (!ComputeHmac(hash, secret.data(), secret.size(), text.data(), text.size(), mac) ||
      !base64Encode(mac.data(), mac.size(), expected, B64_UrlSafeBare)) {
    return Verifier::RC_InternalError;
  }
  return AreEqual(parts.signature, expected) ? Verifier::RC_None : Verifier::RC_SignatureMismatch;
}

/// Null, with a line in the log, when the provider has no such key.
shared_ptr<AsymmetricKey> FindKey(const Parts& parts, Alg alg, KeyProvider& provider) {
  string message;
  shared_ptr<AsymmetricKey> key = provider.getKeyFromId(parts.header.getString("kid", {}), alg, &message);
  if (key == nullptr) LogWarning() << CutForLog(message);
  return key;
}

RejectCause CheckSignature(const Parts& parts, const AlgTraits& alg, KeyProvider* provider) {
  if (provider == nullptr) return Verifier::RC_Uninitialized;
  const shared_ptr<AsymmetricKey> key = FindKey(parts, alg.alg, *provider);
  bytes signature;
  if (key == nullptr || !base64Decode(parts.signature.data(), parts.signature.size(), signature, B64_UrlSafeBare)) {
    return Verifier::RC_InternalError;
  }
  SignatureError error = SE_None;
  const std::string_view text = parts.protectedText;
  if (impl::VerifyDigestAsymmetric(signature.data(), signature.size(), text.data(), text.size(), *key, alg.hash,
                                   alg.getKeyKind(), &error)) {
    return Verifier::RC_None;
  }
  return error == SE_None ? Verifier::RC_SignatureMismatch : Verifier::RC_InternalError;
}

/// Every bound includes its edge.
RejectCause CheckTimes(const qxVariantMapImpl& claims, int64 nowSec) {
  const int64 earliestEnd = SaturatingAdd(nowSec, -sLeewaySec);
  const int64 latestStart = SaturatingAdd(nowSec, sLeewaySec);
  const int64 exp = claims.getInteger("exp", 0);
  if (exp < 1 || exp < earliestEnd) return Verifier::RC_Expired;
  const int64 iat = claims.getInteger("iat", 0);
  if (iat < 1 || iat > latestStart) return Verifier::RC_IssuedInFuture;
  const auto nbf = claims.find("nbf");
  if (nbf == claims.end()) return Verifier::RC_None;
  if (nbf->second.getType() != qxVariant::VT_Integer) return Verifier::RC_Malformed;
  return nbf->second.toInteger() <= latestStart ? Verifier::RC_None : Verifier::RC_NotYetValid;
}

}  // namespace

Verifier::~Verifier() { clearClientInfo(); }

void Verifier::setClientInfo(const string& secret, KeyProvider* keyProvider, int allowedAlgs, bool skipTimeChecks) {
  clearClientInfo();
  mSecret = secret;
  mKeyProvider = keyProvider;
  mAllowedAlgs = allowedAlgs;
  mSkipTimeChecks = skipTimeChecks;
}

void Verifier::clearClientInfo() {
  qxStringUtils::SecureClear(mSecret);
  mKeyProvider = nullptr;
  mAllowedAlgs = 0;
  mSkipTimeChecks = false;
}

bool Verifier::SplitJwt(const char* data, uint64 size, qxVariantMapImpl& header, qxVariantMapImpl* payload,
                        const char*& signature, uint64& signatureSize) {
  const std::string_view token(data, size);
  const size_t first = FindDot(token, 0);
  // Two dots side by side are no segment: the second one may belong to it.
  if (first == std::string_view::npos || first + 2 > token.size()) return false;
  const size_t second = FindDot(token, first + 2);
  if (second == std::string_view::npos) return false;
  signature = data + second + 1;
  signatureSize = size - second - 1;
  return DecodeSegment(token.substr(0, first), header) &&
         (payload == nullptr || DecodeSegment(token.substr(first + 1, second - first - 1), *payload));
}

bool Verifier::validateJwtWithTimeBase(const char* data, uint64 size, qxVariantMapImpl& claims, int64 nowSec,
                                       RejectCause* cause) const {
  RejectCause unread = RC_None;
  RejectCause& result = cause == nullptr ? unread : *cause;
  result = RC_None;
  Parts parts;
  const char* signature = nullptr;
  uint64 signatureSize = 0;
  if (!SplitJwt(data, size, parts.header, &parts.payload, signature, signatureSize) || !IsJwt(parts.header)) {
    result = RC_Malformed;
    return false;
  }
  const AlgTraits* alg = FindAllowedAlg(parts.header, mAllowedAlgs);
  if (alg == nullptr) {
    result = RC_UnsupportedAlg;
    return false;
  }
  parts.signature = {signature, signatureSize};
  parts.protectedText = {data, size - signatureSize - 1};
  result = alg->isHmac() ? CheckMac(parts, alg->hash, mSecret) : CheckSignature(parts, *alg, mKeyProvider);
  if (result != RC_None) return false;

  claims.swap(parts.payload);
  if (!mSkipTimeChecks) result = CheckTimes(claims, nowSec);
  return result == RC_None;
}

bool Verifier::validateJwtWithTimeBase(const string& token, qxVariantMapImpl& claims, int64 nowSec,
                                       RejectCause* cause) const {
  return validateJwtWithTimeBase(token.data(), token.size(), claims, nowSec, cause);
}

bool Verifier::validateJwt(const char* data, uint64 size, qxVariantMapImpl& claims, RejectCause* cause) const {
  return validateJwtWithTimeBase(data, size, claims, NowSec(), cause);
}

bool Verifier::validateJwt(const string& token, qxVariantMapImpl& claims, RejectCause* cause) const {
  return validateJwt(token.data(), token.size(), claims, cause);
}

bool Verifier::ExtractJwtContentNoValidation(const char* data, uint64 size, qxVariantMapImpl& header,
                                             qxVariantMapImpl* payload) {
  const char* signature = nullptr;
  uint64 signatureSize = 0;
  return SplitJwt(data, size, header, payload, signature, signatureSize);
}

bool Verifier::IsTimeError(RejectCause cause) {
  return cause == RC_Expired || cause == RC_IssuedInFuture || cause == RC_NotYetValid;
}

string Verifier::RejectCauseToString(RejectCause cause) {
  switch (cause) {
    case RC_None: break;
    case RC_Malformed: return "Malformed jwt";
    case RC_UnsupportedAlg: return "Unsupported jwt alg";
    case RC_Uninitialized: return "Uninitialized jwt decoder";
    case RC_SignatureMismatch: return "jwt signature missmatch";
    case RC_InternalError: return "jwt verifier internal error";
    case RC_Expired: return "jwt has expired";
    case RC_IssuedInFuture: return "jwt issue date is in the future";
    case RC_NotYetValid: return "jwt is issued for a future use";
  }
  return "jwt unknown error";
}

}  // namespace qx::jwt
