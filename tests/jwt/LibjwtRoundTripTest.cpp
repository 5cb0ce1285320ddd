#include "netweft/jwt/CreateJwt.h"
#include "tests/base/PemKeys.h"
#include "tests/jwt/TokenSupport.h"

#include <gtest/gtest.h>
#include <jwt.h>

#include <cstdlib>

/// Tokens made here are read by another implementation, and the other way round, for every algorithm.
namespace qx::jwt {
namespace {

using namespace test;

struct Libjwt {
  jwt_t* handle = nullptr;

  Libjwt() = default;
  Libjwt(const Libjwt&) = delete;
  Libjwt& operator=(const Libjwt&) = delete;
  ~Libjwt() { jwt_free(handle); }
};

const unsigned char* ToUnsigned(const string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }
int Length(const string& text) { return static_cast<int>(text.size()); }

bool IsHmac(Alg alg) { return (alg & sHmacAlgs) != 0; }

const qx::test::PemKey& GetPemFor(Alg alg) {
  if ((alg & sRsaAlgs) != 0) return qx::test::GetRsaPem(2048);
  return qx::test::GetCurvePem(alg == ES256 ? "P-256" : alg == ES384 ? "P-384" : "P-521");
}

vector<Alg> GetAllAlgs() {
  vector<Alg> all = kHmacAlgs;
  all.insert(all.end(), kAsymmetricAlgs.begin(), kAsymmetricAlgs.end());
  return all;
}

string MakeByLibjwt(Alg alg) {
  const string key = IsHmac(alg) ? kSecret : GetPemFor(alg).pkcs8;
  Libjwt jwt;
  EXPECT_EQ(jwt_new(&jwt.handle), 0);
  EXPECT_EQ(jwt_set_alg(jwt.handle, jwt_str_alg(AlgToString(alg).c_str()), ToUnsigned(key), Length(key)), 0);
  EXPECT_EQ(jwt_add_grants_json(jwt.handle, kClaims.c_str()), 0);
  char* text = jwt_encode_str(jwt.handle);
  const string token = text == nullptr ? "" : text;
  std::free(text);
  return token;
}

/// What it reads as "iss"; empty when it rejects the token.
string ReadIssuerByLibjwt(const string& token, Alg alg) {
  const string key = IsHmac(alg) ? kSecret : GetPemFor(alg).publicKey;
  Libjwt jwt;
  if (jwt_decode(&jwt.handle, token.c_str(), ToUnsigned(key), Length(key)) != 0) return {};
  const char* issuer = jwt_get_grant(jwt.handle, "iss");
  return issuer == nullptr ? "" : issuer;
}

TEST(LibjwtRoundTripTest, WhatIsMadeHereIsReadThere) {
  for (const Alg alg : GetAllAlgs()) {
    qxVariantMapImpl claims = ParseMap(R"({"exp":1700000600,"iat":1700000000,"iss":"netweft"})");
    string token;
    ASSERT_TRUE(IsHmac(alg) ? CreateHashedJwt(claims, kSecret, alg, token, 0)
                            : CreateSignedJwt(claims, *GetKeyFor(alg), alg, token, 0));
    EXPECT_EQ(ReadIssuerByLibjwt(token, alg), "netweft") << AlgToString(alg);
    token[token.rfind('.') + 5] = token[token.rfind('.') + 5] == 'A' ? 'B' : 'A';
    EXPECT_EQ(ReadIssuerByLibjwt(token, alg), "") << AlgToString(alg);
  }
}

TEST(LibjwtRoundTripTest, WhatIsMadeThereIsVerifiedHere) {
  for (const Alg alg : GetAllAlgs()) {
    OneKeyProvider provider(IsHmac(alg) ? nullptr : GetKeyFor(alg));
    Verifier verifier;
    verifier.setClientInfo(kSecret, &provider, alg, false);
    const Verdict verdict = Check(verifier, MakeByLibjwt(alg));
    EXPECT_TRUE(verdict.accepted) << AlgToString(alg) << verdict.cause;
    EXPECT_EQ(verdict.claims, ParseMap(kClaims));
  }
}

}  // namespace
}  // namespace qx::jwt
