#include "netweft/base/crypto/internal/KeyMaterial.h"

#include <openssl/pem.h>

#include <limits>

namespace qx::impl {

namespace {

/// Twice the longest modulus: room for leading zeros.
constexpr size_t kMaxNumberBytes = 4096;

int RefusePassword(char*, int, int, void*) noexcept { return -1; }

}  // namespace

KeyMaterial RefuseKey(string error) { return {nullptr, false, std::move(error)}; }

KeyMaterial LoadPemKey(const string& pem, const char* type) {
  if (pem.size() > static_cast<size_t>(std::numeric_limits<int>::max())) return RefuseKey("key text too long");
  const BioPtr text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  if (text == nullptr) return RefuseKey("the crypto library failed");
  KeyMaterial key{EvpPkeyPtr(PEM_read_bio_PrivateKey(text.get(), nullptr, RefusePassword, nullptr)), true, {}};
  if (key.pkey == nullptr) {
    static_cast<void>(BIO_reset(text.get()));
    key.pkey.reset(PEM_read_bio_PUBKEY(text.get(), nullptr, RefusePassword, nullptr));
    key.isPrivate = false;
  }
  if (key.pkey == nullptr) return RefuseKey("no readable key in the text (encrypted ones are refused)");
  if (EVP_PKEY_is_a(key.pkey.get(), type) != 1) return RefuseKey(string("not a key of type ") + type);
  return key;
}

KeyMaterial BuildPublicKey(const char* type, OSSL_PARAM_BLD& parameters) {
  const ParamsPtr params(OSSL_PARAM_BLD_to_param(&parameters));
  const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr));
  EVP_PKEY* key = nullptr;
  const bool built = params != nullptr && context != nullptr && EVP_PKEY_fromdata_init(context.get()) == 1 &&
                     EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, params.get()) == 1;
  if (!built) return RefuseKey("the crypto library refuses the key");
  return {EvpPkeyPtr(key), false, {}};
}

BigNumberPtr ToBigNumber(const bytes& bigEndian) {
  if (bigEndian.size() > kMaxNumberBytes) return nullptr;
  return BigNumberPtr(BN_bin2bn(ToUnsigned(bigEndian.data()), static_cast<int>(bigEndian.size()), nullptr));
}

BigNumberPtr GetBigNumber(const EVP_PKEY& key, const char* name) {
  BIGNUM* number = nullptr;
  EVP_PKEY_get_bn_param(&key, name, &number);
  return BigNumberPtr(number);
}

}  // namespace qx::impl
