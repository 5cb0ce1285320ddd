#include "netweft/base/crypto/RSAKey.h"

#include "netweft/base/crypto/internal/AsymmetricKeyAccess.h"

#include <openssl/core_names.h>
#include <openssl/rsa.h>

namespace qx {

namespace {

constexpr int kMinModulusBits = 2048;
constexpr int kMaxModulusBits = OPENSSL_RSA_MAX_MODULUS_BITS;

/// What is wrong with the numbers of a public key; empty when they may be used. A number that is null was too long.
string FindFlaw(const BIGNUM* n, const BIGNUM* e) {
  if (n == nullptr || BN_num_bits(n) < kMinModulusBits || BN_num_bits(n) > kMaxModulusBits) {
    return "RSA modulus not between 2048 and 16384 bits";
  }
  if (!BN_is_odd(n)) return "RSA modulus is even";
  // Under an exponent of 1 every signature that is its own padded digest verifies.
  if (e == nullptr || !BN_is_odd(e) || BN_is_one(e)) return "RSA exponent is even or under 3";
  // OpenSSL verifies nothing with these: a key that can never match is told here, not at each signature.
  if (BN_ucmp(e, n) >= 0) return "RSA exponent not under the modulus";
  if (BN_num_bits(n) > OPENSSL_RSA_SMALL_MODULUS_BITS && BN_num_bits(e) > OPENSSL_RSA_MAX_PUBEXP_BITS) {
    return "RSA exponent over 64 bits with a modulus over 3072 bits";
  }
  return {};
}

impl::KeyMaterial BuildFromNumbers(const bytes& n, const bytes& e) {
  const impl::BigNumberPtr modulus = impl::ToBigNumber(n);
  const impl::BigNumberPtr exponent = impl::ToBigNumber(e);
  if (string flaw = FindFlaw(modulus.get(), exponent.get()); !flaw.empty()) return impl::RefuseKey(std::move(flaw));
  const impl::ParamBuilderPtr builder(OSSL_PARAM_BLD_new());
  if (builder == nullptr || OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, modulus.get()) != 1 ||
      OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, exponent.get()) != 1) {
    return impl::RefuseKey("the crypto library failed");
  }
  return impl::BuildPublicKey("RSA", *builder);
}

impl::KeyMaterial LoadRsaKey(const string& pem) {
  impl::KeyMaterial key = impl::LoadPemKey(pem, "RSA");
  if (key.pkey == nullptr) return key;
  const impl::BigNumberPtr modulus = impl::GetBigNumber(*key.pkey, OSSL_PKEY_PARAM_RSA_N);
  const impl::BigNumberPtr exponent = impl::GetBigNumber(*key.pkey, OSSL_PKEY_PARAM_RSA_E);
  if (string flaw = FindFlaw(modulus.get(), exponent.get()); !flaw.empty()) return impl::RefuseKey(std::move(flaw));
  return key;
}

}  // namespace

RSAKey::RSAKey(const bytes& n, const bytes& e) {
  const impl::ErrorQueueMark mark;
  AsymmetricKeyAccess::Accept(*this, BuildFromNumbers(n, e));
}

RSAKey::RSAKey(const string& pem) {
  const impl::ErrorQueueMark mark;
  AsymmetricKeyAccess::Accept(*this, LoadRsaKey(pem));
}

RSAKey::~RSAKey() = default;

}  // namespace qx
