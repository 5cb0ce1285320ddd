#include "benchmarks/jwt/BareEvp.h"

#include "benchmarks/jwt/Tokens.h"

#include <openssl/core_names.h>
#include <openssl/pem.h>

namespace qx::jwt::benchmarks {

namespace {

impl::EvpMacCtxPtr MakeMac() {
  const impl::EvpMacPtr hmac(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
  impl::EvpMacCtxPtr context(EVP_MAC_CTX_new(hmac.get()));
  string name = "SHA256";
  const OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, name.data(), 0),
                               OSSL_PARAM_construct_end()};
  EVP_MAC_CTX_set_params(context.get(), params);
  return context;
}

impl::EvpPkeyPtr LoadKey(Alg alg) {
  const string& pem = GetPrivatePem(alg);
  const impl::BioPtr text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  return impl::EvpPkeyPtr(PEM_read_bio_PrivateKey(text.get(), nullptr, nullptr, nullptr));
}

}  // namespace

BareEvp::BareEvp(Alg alg) : mDigest(EVP_MD_fetch(nullptr, "SHA256", nullptr)), mMac(MakeMac()) {
  if (alg == HS256) return;
  mKey = LoadKey(alg);
  mSigner.reset(EVP_PKEY_CTX_new_from_pkey(nullptr, mKey.get(), nullptr));
  mVerifier.reset(EVP_PKEY_CTX_new_from_pkey(nullptr, mKey.get(), nullptr));
  EVP_PKEY_sign_init(mSigner.get());
  EVP_PKEY_CTX_set_signature_md(mSigner.get(), mDigest.get());
  EVP_PKEY_verify_init(mVerifier.get());
  EVP_PKEY_CTX_set_signature_md(mVerifier.get(), mDigest.get());
}

size_t BareEvp::computeMac(const string& text) {
  const string& secret = GetSecret();
  EVP_MAC_init(mMac.get(), impl::ToUnsigned(secret.data()), secret.size(), nullptr);
  EVP_MAC_update(mMac.get(), impl::ToUnsigned(text.data()), text.size());
  EVP_MAC_final(mMac.get(), mSignature, &mSize, sizeof mSignature);
  return mSize;
}

size_t BareEvp::sign(const string& text) {
  unsigned char hash[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_Digest(text.data(), text.size(), hash, &length, mDigest.get(), nullptr);
  mSize = sizeof mSignature;
  return EVP_PKEY_sign(mSigner.get(), mSignature, &mSize, hash, length) == 1 ? mSize : 0;
}

bool BareEvp::verify(const string& text) {
  unsigned char hash[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_Digest(text.data(), text.size(), hash, &length, mDigest.get(), nullptr);
  return EVP_PKEY_verify(mVerifier.get(), mSignature, mSize, hash, length) == 1;
}

}  // namespace qx::jwt::benchmarks
