#include "netweft/base/crypto/DigestAsymmetric.h"

#include "netweft/base/crypto/EllipticCurveKey.h"
#include "netweft/base/crypto/internal/AsymmetricKeyAccess.h"
#include "netweft/base/crypto/internal/Digests.h"
#include "netweft/base/crypto/internal/EcdsaSignatureForm.h"
#include "netweft/base/crypto/internal/FamilySignatures.h"

#include <array>
#include <optional>

namespace qx {

namespace {

using impl::EvpPkeyCtxPtr;
using impl::KeyContexts;
using impl::ToUnsigned;

/// What an algorithm says of its key; nothing when only the digest is known.
using Family = std::optional<AsymmetricKey::Kind>;

struct Digest {
  std::array<unsigned char, EVP_MAX_MD_SIZE> value;
  unsigned int size = 0;

  bool compute(const char* data, uint64 n, HashType type) {
    return EVP_Digest(data, n, value.data(), &size, impl::GetDigest(type), nullptr) == 1;
  }
};

EllipticCurve GetCurveOf(HashType type) {
  switch (type) {
    case HT_Sha256: return EC_P256;
    case HT_Sha384: return EC_P384;
    case HT_Sha512: return EC_P521;
    default: return EC_Unknown;
  }
}

bool IsKeyOf(AsymmetricKey::Kind family, const AsymmetricKey& key, HashType type) {
  if (key.getKind() != family) return false;
  return family != AsymmetricKey::AK_EllipticCurve ||
         static_cast<const EllipticCurveKey&>(key).getCurve() == GetCurveOf(type);
}

/// SHA-1 is there for fingerprints alone.
bool IsSignatureDigest(HashType type) { return type != HT_Sha1 && impl::GetDigest(type) != nullptr; }

SignatureError CheckArguments(const AsymmetricKey& key, HashType type, Family family) {
  if (AsymmetricKeyAccess::GetPkey(key) == nullptr) return SE_InvalidKey;
  if (!IsSignatureDigest(type)) return SE_UnknownAlgorithm;
  return family.has_value() && !IsKeyOf(*family, key, type) ? SE_KeyMismatch : SE_None;
}

void Report(SignatureError* err, SignatureError value) {
  if (err != nullptr) *err = value;
}

size_t GetFieldBytes(const EVP_PKEY* key) { return (static_cast<size_t>(EVP_PKEY_get_bits(key)) + 7) / 8; }

bool SignDigest(const AsymmetricKey& key, HashType type, const char* data, uint64 n, bytes& out) {
  const EvpPkeyCtxPtr context = AsymmetricKeyAccess::CopyContext(key, KeyContexts::O_Sign, type);
  size_t size = static_cast<size_t>(EVP_PKEY_get_size(AsymmetricKeyAccess::GetPkey(key)));
  out.resize(size);
  Digest digest;
  const bool done = context != nullptr && digest.compute(data, n, type) &&
                    EVP_PKEY_sign(context.get(), ToUnsigned(out.data()), &size, digest.value.data(), digest.size) == 1;
  out.resize(done ? size : 0);
  return done;
}

/// Negative when it could not be carried out.
int VerifyDigest(const AsymmetricKey& key, HashType type, const char* sig, size_t sigLen, const char* data, uint64 n) {
  const EvpPkeyCtxPtr context = AsymmetricKeyAccess::CopyContext(key, KeyContexts::O_Verify, type);
  Digest digest;
  if (context == nullptr || !digest.compute(data, n, type)) return -1;
  return EVP_PKEY_verify(context.get(), ToUnsigned(sig), sigLen, digest.value.data(), digest.size);
}

bool Sign(bytes& out, const char* data, uint64 n, const AsymmetricKey& key, HashType type, Family family,
          SignatureError* err) {
  const impl::ErrorQueueMark mark;
  out.clear();
  SignatureError error = CheckArguments(key, type, family);
  if (error == SE_None && !key.canSign()) error = SE_CannotSign;
  Report(err, error);
  if (error != SE_None) return false;

  bytes signature;
  bool done = SignDigest(key, type, data, n, signature);
  if (done && key.getKind() == AsymmetricKey::AK_EllipticCurve) {
    const bytes der = std::move(signature);
    done = impl::EcdsaDerToRaw(der, GetFieldBytes(AsymmetricKeyAccess::GetPkey(key)), signature);
  }
  if (done) out.swap(signature);
  Report(err, done ? SE_None : SE_CryptoFailure);
  return done;
}

bool Verify(const char* sig, uint64 sigLen, const char* data, uint64 n, const AsymmetricKey& key, HashType type,
            Family family, SignatureError* err) {
  const impl::ErrorQueueMark mark;
  const SignatureError error = CheckArguments(key, type, family);
  Report(err, error);
  if (error != SE_None) return false;

  const EVP_PKEY* pkey = AsymmetricKeyAccess::GetPkey(key);
  const bool isCurve = key.getKind() == AsymmetricKey::AK_EllipticCurve;
  const size_t wanted = isCurve ? 2 * GetFieldBytes(pkey) : static_cast<size_t>(EVP_PKEY_get_size(pkey));
  if (sigLen != wanted) return false;
  int result = -1;
  if (bytes der; !isCurve) {
    result = VerifyDigest(key, type, sig, wanted, data, n);
  } else if (impl::EcdsaRawToDer(sig, wanted / 2, der)) {
    result = VerifyDigest(key, type, der.data(), der.size(), data, n);
  }
  Report(err, result < 0 ? SE_CryptoFailure : SE_None);
  return result == 1;
}

}  // namespace

bool SignDigestAsymmetric(bytes& out, const char* data, uint64 n, AsymmetricKey& key, HashType type,
                          SignatureError* err) {
  return Sign(out, data, n, key, type, std::nullopt, err);
}

bool VerifyDigestAsymmetric(const char* sig, uint64 sigLen, const char* data, uint64 n, AsymmetricKey& key,
                            HashType type, SignatureError* err) {
  return Verify(sig, sigLen, data, n, key, type, std::nullopt, err);
}

bool impl::SignDigestAsymmetric(bytes& out, const char* data, uint64 n, AsymmetricKey& key, HashType type,
                                AsymmetricKey::Kind family, SignatureError* err) {
  return Sign(out, data, n, key, type, family, err);
}

bool impl::VerifyDigestAsymmetric(const char* sig, uint64 sigLen, const char* data, uint64 n, AsymmetricKey& key,
                                  HashType type, AsymmetricKey::Kind family, SignatureError* err) {
  return Verify(sig, sigLen, data, n, key, type, family, err);
}

}  // namespace qx
