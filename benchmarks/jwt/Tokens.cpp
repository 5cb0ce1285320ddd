#include "benchmarks/jwt/Tokens.h"

#include "netweft/base/crypto/EllipticCurveKey.h"
#include "netweft/base/crypto/RSAKey.h"
#include "netweft/base/crypto/internal/OpenSslHandles.h"
#include "netweft/base/json/Json2Variant.h"
#include "netweft/jwt/CreateJwt.h"

#include <openssl/pem.h>

#include <cstdlib>

namespace qx::jwt::benchmarks {

namespace {

struct KeyTexts {
  string privatePem;
  string publicPem;
};

string TakeText(const impl::BioPtr& memory) {
  char* data = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &data);
  return string(data, static_cast<size_t>(size));
}

KeyTexts MakeTexts(EVP_PKEY* key) {
  const impl::BioPtr privateText(BIO_new(BIO_s_mem()));
  const impl::BioPtr publicText(BIO_new(BIO_s_mem()));
  PEM_write_bio_PKCS8PrivateKey(privateText.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
  PEM_write_bio_PUBKEY(publicText.get(), key);
  return {TakeText(privateText), TakeText(publicText)};
}

const KeyTexts& GetTexts(Alg alg) {
  static const KeyTexts rsa = MakeTexts(impl::EvpPkeyPtr(EVP_RSA_gen(2048)).get());
  static const KeyTexts curve = MakeTexts(impl::EvpPkeyPtr(EVP_EC_gen("P-256")).get());
  return alg == RS256 ? rsa : curve;
}

shared_ptr<AsymmetricKey> WithId(shared_ptr<AsymmetricKey> key) {
  key->keyId = "key-1";
  return key;
}

}  // namespace

const string& GetSecret() {
  static const string secret = "32 bytes that nobody else knows.";
  return secret;
}

const string& GetPrivatePem(Alg alg) { return GetTexts(alg).privatePem; }
const string& GetPublicPem(Alg alg) { return GetTexts(alg).publicPem; }

shared_ptr<AsymmetricKey> GetKey(Alg alg) {
  static const shared_ptr<AsymmetricKey> rsa = WithId(std::make_shared<RSAKey>(GetPrivatePem(RS256)));
  static const shared_ptr<AsymmetricKey> curve = WithId(std::make_shared<EllipticCurveKey>(GetPrivatePem(ES256)));
  return alg == RS256 ? rsa : curve;
}

const string& GetClaimsJson() {
  static const string json = [] {
    const string now = std::to_string(NowSec());
    return R"({"aud":"https://api.example.com","exp":)" + std::to_string(NowSec() + 3600) + R"(,"iat":)" + now +
           R"(,"iss":"https://login.example.com","nbf":)" + now + R"(,"scope":"read write","sub":"user-1234567890"})";
  }();
  return json;
}

const qxVariantMapImpl& GetClaims() {
  static const qxVariantMapImpl claims = [] {
    qxVariantMapImpl map;
    if (!json::Json2Variant::Convert(GetClaimsJson().data(), GetClaimsJson().size(), map)) std::abort();
    return map;
  }();
  return claims;
}

string MakeToken(Alg alg) {
  qxVariantMapImpl claims = GetClaims();
  string token;
  const bool done = alg == HS256 ? CreateHashedJwt(claims, GetSecret(), alg, token, 0)
                                 : CreateSignedJwt(claims, *GetKey(alg), alg, token, 0);
  if (!done) std::abort();
  return token;
}

}  // namespace qx::jwt::benchmarks
