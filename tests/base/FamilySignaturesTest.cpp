#include "netweft/base/crypto/internal/FamilySignatures.h"

#include "netweft/base/crypto/EllipticCurveKey.h"
#include "netweft/base/crypto/RSAKey.h"
#include "tests/base/JwsExamples.h"
#include "tests/base/PemKeys.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

namespace qx {
namespace {

constexpr auto kRsa = AsymmetricKey::AK_Rsa;
constexpr auto kCurve = AsymmetricKey::AK_EllipticCurve;

struct CurveCase {
  const char* name;
  HashType hash;
};

const vector<CurveCase> kCurves{{"P-256", HT_Sha256}, {"P-384", HT_Sha384}, {"P-521", HT_Sha512}};
const vector<HashType> kDigests{HT_Sha256, HT_Sha384, HT_Sha512};

struct SignOutcome {
  bool done;
  SignatureError error;
  bytes signature;
};

SignOutcome Sign(AsymmetricKey& key, HashType type, AsymmetricKey::Kind family) {
  SignOutcome outcome{false, SE_CryptoFailure, {'x'}};
  outcome.done = impl::SignDigestAsymmetric(outcome.signature, "data", 4, key, type, family, &outcome.error);
  return outcome;
}

void ExpectSignError(SignatureError wanted, AsymmetricKey& key, HashType type, AsymmetricKey::Kind family) {
  const SignOutcome outcome = Sign(key, type, family);
  EXPECT_FALSE(outcome.done);
  EXPECT_EQ(outcome.error, wanted);
  EXPECT_TRUE(outcome.signature.empty());
}

SignatureError GetVerifyError(const bytes& signature, AsymmetricKey& key, HashType type, AsymmetricKey::Kind family) {
  SignatureError error = SE_CryptoFailure;
  const bool matches =
      impl::VerifyDigestAsymmetric(signature.data(), signature.size(), "data", 4, key, type, family, &error);
  EXPECT_EQ(matches, false);
  return error;
}

bool Matches(const bytes& signature, AsymmetricKey& key, HashType type, AsymmetricKey::Kind family) {
  SignatureError error = SE_CryptoFailure;
  const bool matches =
      impl::VerifyDigestAsymmetric(signature.data(), signature.size(), "data", 4, key, type, family, &error);
  EXPECT_EQ(error, SE_None);
  return matches;
}

TEST(FamilySignaturesTest, AnRsaKeySignsAndVerifiesForItsFamilyWithEveryDigest) {
  RSAKey key(test::GetRsaPem(2048).pkcs8);
  for (const HashType type : kDigests) {
    const SignOutcome made = Sign(key, type, kRsa);
    EXPECT_TRUE(made.done);
    EXPECT_EQ(made.error, SE_None);
    EXPECT_TRUE(Matches(made.signature, key, type, kRsa));
  }
}

TEST(FamilySignaturesTest, ACurveKeySignsAndVerifiesWithTheDigestOfItsCurve) {
  for (const CurveCase& curve : kCurves) {
    EllipticCurveKey key(test::GetCurvePem(curve.name).pkcs8);
    const SignOutcome made = Sign(key, curve.hash, kCurve);
    EXPECT_TRUE(made.done);
    EXPECT_EQ(made.error, SE_None);
    EXPECT_TRUE(Matches(made.signature, key, curve.hash, kCurve));
  }
}

TEST(FamilySignaturesTest, AKeyOfAnotherKindIsAMismatch) {
  RSAKey rsa(test::GetRsaPem(2048).pkcs8);
  for (const CurveCase& curve : kCurves) {
    EllipticCurveKey key(test::GetCurvePem(curve.name).pkcs8);
    ExpectSignError(SE_KeyMismatch, key, curve.hash, kRsa);
    ExpectSignError(SE_KeyMismatch, rsa, curve.hash, kCurve);
    EXPECT_EQ(GetVerifyError(Sign(key, curve.hash, kCurve).signature, key, curve.hash, kRsa), SE_KeyMismatch);
    EXPECT_EQ(GetVerifyError(Sign(rsa, curve.hash, kRsa).signature, rsa, curve.hash, kCurve), SE_KeyMismatch);
  }
}

TEST(FamilySignaturesTest, ACurveKeyWithTheDigestOfAnotherCurveIsAMismatch) {
  for (const CurveCase& curve : kCurves) {
    EllipticCurveKey key(test::GetCurvePem(curve.name).pkcs8);
    for (const HashType type : kDigests) {
      if (type == curve.hash) continue;
      ExpectSignError(SE_KeyMismatch, key, type, kCurve);
      bytes signature;
      ASSERT_TRUE(SignDigestAsymmetric(signature, "data", 4, key, type, nullptr));
      EXPECT_EQ(GetVerifyError(signature, key, type, kCurve), SE_KeyMismatch);
    }
  }
}

TEST(FamilySignaturesTest, AMismatchIsSeenBeforeTheLengthOfTheSignature) {
  EllipticCurveKey key(test::GetCurvePem("P-256").publicKey);
  for (const size_t length : {0U, 1U, 64U, 96U, 256U}) {
    EXPECT_EQ(GetVerifyError(bytes(length, '\x01'), key, HT_Sha256, kRsa), SE_KeyMismatch);
    EXPECT_EQ(GetVerifyError(bytes(length, '\x01'), key, HT_Sha384, kCurve), SE_KeyMismatch);
  }
}

TEST(FamilySignaturesTest, AMismatchIsSeenBeforeTheMissingPrivateHalf) {
  EllipticCurveKey key(test::GetCurvePem("P-256").publicKey);
  ExpectSignError(SE_KeyMismatch, key, HT_Sha256, kRsa);
  ExpectSignError(SE_CannotSign, key, HT_Sha256, kCurve);
}

TEST(FamilySignaturesTest, AKeyWithAnErrorIsInvalidInEveryFamily) {
  RSAKey rsa(bytes{1}, bytes{1});
  EllipticCurveKey curve(EC_P256, {}, {});
  for (const auto family : {kRsa, kCurve}) {
    ExpectSignError(SE_InvalidKey, rsa, HT_Sha256, family);
    EXPECT_EQ(GetVerifyError(bytes(64, '\x01'), curve, HT_Sha256, family), SE_InvalidKey);
  }
}

TEST(FamilySignaturesTest, AnUnknownDigestIsAnErrorInEveryFamily) {
  RSAKey rsa(test::GetRsaPem(2048).pkcs8);
  EllipticCurveKey curve(test::GetCurvePem("P-256").pkcs8);
  for (const int type : {0, 1, int(HT_Sha1), 6}) {
    ExpectSignError(SE_UnknownAlgorithm, rsa, static_cast<HashType>(type), kRsa);
    ExpectSignError(SE_UnknownAlgorithm, curve, static_cast<HashType>(type), kCurve);
  }
}

TEST(FamilySignaturesTest, TheErrorMayBeNull) {
  EllipticCurveKey key(test::GetCurvePem("P-256").pkcs8);
  bytes signature;
  EXPECT_FALSE(impl::SignDigestAsymmetric(signature, "data", 4, key, HT_Sha256, kRsa, nullptr));
  EXPECT_TRUE(impl::SignDigestAsymmetric(signature, "data", 4, key, HT_Sha256, kCurve, nullptr));
  EXPECT_FALSE(impl::VerifyDigestAsymmetric(signature.data(), 64, "data", 4, key, HT_Sha256, kRsa, nullptr));
  EXPECT_TRUE(impl::VerifyDigestAsymmetric(signature.data(), 64, "data", 4, key, HT_Sha256, kCurve, nullptr));
}

TEST(FamilySignaturesTest, TheErrorQueueStaysAsItWas) {
  EllipticCurveKey key(test::GetCurvePem("P-256").publicKey);
  ERR_clear_error();
  ERR_raise(ERR_LIB_USER, 7);
  GetVerifyError({}, key, HT_Sha256, kRsa);
  EXPECT_FALSE(Matches(bytes(64, '\xFF'), key, HT_Sha256, kCurve));
  EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 7);
  EXPECT_EQ(ERR_get_error(), 0U);
}

}  // namespace
}  // namespace qx
