#include "netweft/base/crypto/DigestAsymmetric.h"

#include "netweft/base/crypto/internal/AsymmetricKeyAccess.h"
#include "netweft/base/crypto/internal/Digests.h"
#include "netweft/base/crypto/internal/EcdsaSignatureForm.h"

namespace qx {

namespace {

using impl::EvpMdCtxPtr;
using impl::ToUnsigned;

/// SHA-1 is there for fingerprints alone.
const EVP_MD* GetSignatureDigest(HashType type) { return type == HT_Sha1 ? nullptr : impl::GetDigest(type); }

SignatureError CheckArguments(const AsymmetricKey& key, HashType type) {
  if (AsymmetricKeyAccess::GetPkey(key) == nullptr) return SE_InvalidKey;
  return GetSignatureDigest(type) == nullptr ? SE_UnknownAlgorithm : SE_None;
}

void Report(SignatureError* err, SignatureError value) {
  if (err != nullptr) *err = value;
}

size_t GetFieldBytes(const EVP_PKEY* key) { return (static_cast<size_t>(EVP_PKEY_get_bits(key)) + 7) / 8; }

bool SignDigest(EVP_PKEY* key, const EVP_MD* digest, const char* data, uint64 n, bytes& out) {
  const EvpMdCtxPtr context(EVP_MD_CTX_new());
  size_t size = static_cast<size_t>(EVP_PKEY_get_size(key));
  out.resize(size);
  const bool done = context != nullptr && EVP_DigestSignInit(context.get(), nullptr, digest, nullptr, key) == 1 &&
                    EVP_DigestSign(context.get(), ToUnsigned(out.data()), &size, ToUnsigned(data), n) == 1;
  out.resize(done ? size : 0);
  return done;
}

/// Negative when it could not be carried out.
int VerifyDigest(EVP_PKEY* key, const EVP_MD* digest, const char* sig, size_t sigLen, const char* data, uint64 n) {
  const EvpMdCtxPtr context(EVP_MD_CTX_new());
  if (context == nullptr || EVP_DigestVerifyInit(context.get(), nullptr, digest, nullptr, key) != 1) return -1;
  return EVP_DigestVerify(context.get(), ToUnsigned(sig), sigLen, ToUnsigned(data), n);
}

}  // namespace

bool SignDigestAsymmetric(bytes& out, const char* data, uint64 n, AsymmetricKey& key, HashType type,
                          SignatureError* err) {
  const impl::ErrorQueueMark mark;
  out.clear();
  SignatureError error = CheckArguments(key, type);
  if (error == SE_None && !key.canSign()) error = SE_CannotSign;
  Report(err, error);
  if (error != SE_None) return false;

  EVP_PKEY* pkey = AsymmetricKeyAccess::GetPkey(key);
  bytes signature;
  bool done = SignDigest(pkey, GetSignatureDigest(type), data, n, signature);
  if (done && key.getKind() == AsymmetricKey::AK_EllipticCurve) {
    const bytes der = std::move(signature);
    done = impl::EcdsaDerToRaw(der, GetFieldBytes(pkey), signature);
  }
  if (done) out.swap(signature);
  Report(err, done ? SE_None : SE_CryptoFailure);
  return done;
}

bool VerifyDigestAsymmetric(const char* sig, uint64 sigLen, const char* data, uint64 n, AsymmetricKey& key,
                            HashType type, SignatureError* err) {
  const impl::ErrorQueueMark mark;
  const SignatureError error = CheckArguments(key, type);
  Report(err, error);
  if (error != SE_None) return false;

  EVP_PKEY* pkey = AsymmetricKeyAccess::GetPkey(key);
  const bool isCurve = key.getKind() == AsymmetricKey::AK_EllipticCurve;
  const size_t wanted = isCurve ? 2 * GetFieldBytes(pkey) : static_cast<size_t>(EVP_PKEY_get_size(pkey));
  if (sigLen != wanted) return false;
  int result = -1;
  if (bytes der; !isCurve) {
    result = VerifyDigest(pkey, GetSignatureDigest(type), sig, wanted, data, n);
  } else if (impl::EcdsaRawToDer(sig, wanted / 2, der)) {
    result = VerifyDigest(pkey, GetSignatureDigest(type), der.data(), der.size(), data, n);
  }
  Report(err, result < 0 ? SE_CryptoFailure : SE_None);
  return result == 1;
}

}  // namespace qx
