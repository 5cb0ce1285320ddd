#include "tests/base/PemKeys.h"

#include "netweft/base/crypto/internal/KeyMaterial.h"

#include <openssl/core_names.h>
#include <openssl/pem.h>

namespace qx::test {

namespace {

using impl::BigNumberPtr;
using impl::BioPtr;
using impl::EvpPkeyPtr;

constexpr unsigned char kPassword[] = "open sesame";
constexpr int kPasswordLength = sizeof kPassword - 1;

template <class Write>
string ToPem(Write write) {
  const BioPtr memory(BIO_new(BIO_s_mem()));
  if (write(memory.get()) != 1) return {};
  char* data = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &data);
  return string(data, static_cast<size_t>(size));
}

PemKey ToPem(EVP_PKEY* key) {
  const EVP_CIPHER* cipher = EVP_aes_128_cbc();
  const char* password = reinterpret_cast<const char*>(kPassword);
  return {
      ToPem([&](BIO* out) { return PEM_write_bio_PKCS8PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr); }),
      ToPem([&](BIO* out) {
        return PEM_write_bio_PrivateKey_traditional(out, key, nullptr, nullptr, 0, nullptr, nullptr);
      }),
      ToPem([&](BIO* out) { return PEM_write_bio_PUBKEY(out, key); }),
      ToPem([&](BIO* out) {
        return PEM_write_bio_PKCS8PrivateKey(out, key, cipher, password, kPasswordLength, nullptr, nullptr);
      }),
      ToPem([&](BIO* out) {
        return PEM_write_bio_PrivateKey_traditional(out, key, cipher, kPassword, kPasswordLength, nullptr, nullptr);
      }),
  };
}

}  // namespace

const PemKey& GetRsaPem(int bits) {
  static map<int, PemKey> keys;
  const auto found = keys.find(bits);
  if (found != keys.end()) return found->second;
  const EvpPkeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", static_cast<size_t>(bits)));
  return keys.emplace(bits, ToPem(key.get())).first->second;
}

string ToRsaPublicKeyPem(const PemKey& pem) {
  const BioPtr text(BIO_new_mem_buf(pem.publicKey.data(), static_cast<int>(pem.publicKey.size())));
  const EvpPkeyPtr key(PEM_read_bio_PUBKEY(text.get(), nullptr, nullptr, nullptr));
  bytes der(static_cast<size_t>(i2d_PublicKey(key.get(), nullptr)));
  unsigned char* cursor = impl::ToUnsigned(der.data());
  i2d_PublicKey(key.get(), &cursor);
  return ToPem([&](BIO* out) {
    const unsigned char* data = impl::ToUnsigned(der.data());
    return PEM_write_bio(out, "RSA PUBLIC KEY", "", data, static_cast<long>(der.size())) > 0 ? 1 : 0;
  });
}

const PemKey& GetCurvePem(const string& curve) {
  static map<string, PemKey> keys;
  const auto found = keys.find(curve);
  if (found != keys.end()) return found->second;
  const EvpPkeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", curve.c_str()));
  return keys.emplace(curve, ToPem(key.get())).first->second;
}

const PemKey& GetEd25519Pem() {
  static const PemKey pem = ToPem(EvpPkeyPtr(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519")).get());
  return pem;
}

string MakeRsaPublicPem(const bytes& n, const bytes& e) {
  const BigNumberPtr modulus(BN_bin2bn(impl::ToUnsigned(n.data()), static_cast<int>(n.size()), nullptr));
  const BigNumberPtr exponent(BN_bin2bn(impl::ToUnsigned(e.data()), static_cast<int>(e.size()), nullptr));
  const impl::ParamBuilderPtr builder(OSSL_PARAM_BLD_new());
  OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, modulus.get());
  OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, exponent.get());
  const impl::KeyMaterial key = impl::BuildPublicKey("RSA", *builder);
  return ToPem([&](BIO* out) { return PEM_write_bio_PUBKEY(out, key.pkey.get()); });
}

bytes GetNumber(const string& pem, const char* name) {
  const BioPtr text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  const EvpPkeyPtr key(PEM_read_bio_PUBKEY(text.get(), nullptr, nullptr, nullptr));
  BIGNUM* number = nullptr;
  EVP_PKEY_get_bn_param(key.get(), name, &number);
  const BigNumberPtr owned(number);
  bytes out(static_cast<size_t>(BN_num_bytes(number)));
  BN_bn2bin(number, impl::ToUnsigned(out.data()));
  return out;
}

}  // namespace qx::test
