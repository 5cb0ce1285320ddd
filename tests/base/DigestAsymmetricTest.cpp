#include "netweft/base/crypto/DigestAsymmetric.h"

#include "netweft/base/crypto/EllipticCurveKey.h"
#include "netweft/base/crypto/RSAKey.h"
#include "tests/base/JwsExamples.h"
#include "tests/base/PemKeys.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <thread>

namespace qx {
namespace {

const string kData = "eyJhbGciOiJub25lIn0.e30";

bytes Sign(AsymmetricKey& key, HashType type, const string& data = kData) {
  bytes out{'x'};
  SignatureError error = SE_CryptoFailure;
  EXPECT_TRUE(SignDigestAsymmetric(out, data.data(), data.size(), key, type, &error));
  EXPECT_EQ(error, SE_None);
  return out;
}

/// What verifying says; an error in verifying fails the test.
bool Matches(const bytes& signature, AsymmetricKey& key, HashType type, const string& data = kData) {
  SignatureError error = SE_CryptoFailure;
  const bool result =
      VerifyDigestAsymmetric(signature.data(), signature.size(), data.data(), data.size(), key, type, &error);
  EXPECT_EQ(error, SE_None);
  return result;
}

SignatureError GetVerifyError(AsymmetricKey& key, HashType type) {
  const bytes signature(64, '\x01');
  SignatureError error = SE_None;
  EXPECT_FALSE(VerifyDigestAsymmetric(signature.data(), signature.size(), "", 0, key, type, &error));
  return error;
}

SignatureError GetSignError(AsymmetricKey& key, HashType type) {
  bytes out{'x'};
  SignatureError error = SE_None;
  EXPECT_FALSE(SignDigestAsymmetric(out, kData.data(), kData.size(), key, type, &error));
  EXPECT_TRUE(out.empty());
  return error;
}

RSAKey MakeRsa() { return RSAKey(test::GetRsaPem(2048).pkcs8); }

struct CurveCase {
  const char* name;
  HashType hash;
  size_t signatureBytes;
};

const vector<CurveCase> kCurves{{"P-256", HT_Sha256, 64}, {"P-384", HT_Sha384, 96}, {"P-521", HT_Sha512, 132}};

TEST(DigestAsymmetricTest, TheRs256ExampleVerifies) {
  RSAKey key(test::FromUrlSafe(test::kRs256N), test::FromUrlSafe(test::kRs256E));
  EXPECT_TRUE(Matches(test::FromUrlSafe(test::kRs256Signature), key, HT_Sha256, test::kRs256Input));
}

TEST(DigestAsymmetricTest, TheEs256ExampleVerifies) {
  EllipticCurveKey key(EC_P256, test::FromUrlSafe(test::kEs256X), test::FromUrlSafe(test::kEs256Y));
  EXPECT_TRUE(Matches(test::FromUrlSafe(test::kEs256Signature), key, HT_Sha256, test::kEs256Input));
}

TEST(DigestAsymmetricTest, TheEs512ExampleVerifies) {
  EllipticCurveKey key(EC_P521, test::FromUrlSafe(test::kEs512X), test::FromUrlSafe(test::kEs512Y));
  EXPECT_TRUE(Matches(test::FromUrlSafe(test::kEs512Signature), key, HT_Sha512, test::kEs512Input));
}

TEST(DigestAsymmetricTest, AnExampleOnOtherDataDoesNotMatch) {
  RSAKey rsa(test::FromUrlSafe(test::kRs256N), test::FromUrlSafe(test::kRs256E));
  EXPECT_FALSE(Matches(test::FromUrlSafe(test::kRs256Signature), rsa, HT_Sha256, test::kRs256Input + "x"));
  EllipticCurveKey curve(EC_P256, test::FromUrlSafe(test::kEs256X), test::FromUrlSafe(test::kEs256Y));
  EXPECT_FALSE(Matches(test::FromUrlSafe(test::kEs256Signature), curve, HT_Sha256, test::kEs256Input + "x"));
}

TEST(DigestAsymmetricTest, AnRsaSignatureVerifiesWithThePublicHalf) {
  RSAKey key = MakeRsa();
  RSAKey publicKey(test::GetRsaPem(2048).publicKey);
  for (const auto type : {HT_Sha256, HT_Sha384, HT_Sha512}) {
    const bytes signature = Sign(key, type);
    EXPECT_EQ(signature.size(), 256U);
    EXPECT_TRUE(Matches(signature, publicKey, type));
    EXPECT_TRUE(Matches(signature, key, type));
  }
}

TEST(DigestAsymmetricTest, RsaSignaturesAreDeterministic) {
  RSAKey key = MakeRsa();
  EXPECT_EQ(Sign(key, HT_Sha256), Sign(key, HT_Sha256));
}

TEST(DigestAsymmetricTest, ACurveSignatureIsRAndSSideBySide) {
  for (const CurveCase& curve : kCurves) {
    EllipticCurveKey key(test::GetCurvePem(curve.name).pkcs8);
    EllipticCurveKey publicKey(test::GetCurvePem(curve.name).publicKey);
    // r and s of every length: one number in 256 begins with a zero byte.
    for (int i = 0; i < (curve.hash == HT_Sha256 ? 600 : 20); ++i) {
      const bytes signature = Sign(key, curve.hash, kData + std::to_string(i));
      ASSERT_EQ(signature.size(), curve.signatureBytes);
      ASSERT_TRUE(Matches(signature, publicKey, curve.hash, kData + std::to_string(i)));
    }
  }
}

TEST(DigestAsymmetricTest, AChangedSignatureDoesNotMatch) {
  RSAKey rsa = MakeRsa();
  EllipticCurveKey curve(test::GetCurvePem("P-256").pkcs8);
  for (AsymmetricKey* key : {static_cast<AsymmetricKey*>(&rsa), static_cast<AsymmetricKey*>(&curve)}) {
    const bytes good = Sign(*key, HT_Sha256);
    for (size_t i = 0; i < good.size(); i += 7) {
      bytes changed = good;
      changed[i] = static_cast<char>(changed[i] ^ 0x10);
      EXPECT_FALSE(Matches(changed, *key, HT_Sha256)) << i;
    }
  }
}

TEST(DigestAsymmetricTest, ASignatureOfAnotherLengthDoesNotMatchAndIsNoError) {
  RSAKey rsa = MakeRsa();
  EllipticCurveKey curve(test::GetCurvePem("P-256").pkcs8);
  for (AsymmetricKey* key : {static_cast<AsymmetricKey*>(&rsa), static_cast<AsymmetricKey*>(&curve)}) {
    bytes longer = Sign(*key, HT_Sha256);
    bytes shorter(longer.begin(), longer.end() - 1);
    bytes padded = longer;
    padded.insert(padded.begin(), '\0');
    longer.push_back('\0');
    EXPECT_FALSE(Matches(longer, *key, HT_Sha256));
    EXPECT_FALSE(Matches(padded, *key, HT_Sha256));
    EXPECT_FALSE(Matches(shorter, *key, HT_Sha256));
    EXPECT_FALSE(Matches({}, *key, HT_Sha256));
  }
}

TEST(DigestAsymmetricTest, ACurveSignatureInDerDoesNotMatch) {
  // Of the example signature's numbers: the form that other protocols use.
  const bytes raw = test::FromUrlSafe(test::kEs256Signature);
  bytes der{0x30, 0x45, 0x02, 0x20};
  der.insert(der.end(), raw.begin(), raw.begin() + 32);
  der.insert(der.end(), {0x02, 0x21, 0x00});
  der.insert(der.end(), raw.begin() + 32, raw.end());
  EllipticCurveKey key(EC_P256, test::FromUrlSafe(test::kEs256X), test::FromUrlSafe(test::kEs256Y));
  EXPECT_FALSE(Matches(der, key, HT_Sha256, test::kEs256Input));
}

TEST(DigestAsymmetricTest, NumbersOutOfRangeDoNotMatchAndAreNoError) {
  EllipticCurveKey key(test::GetCurvePem("P-256").publicKey);
  EXPECT_FALSE(Matches(bytes(64, '\0'), key, HT_Sha256));
  EXPECT_FALSE(Matches(bytes(64, '\xFF'), key, HT_Sha256));
}

TEST(DigestAsymmetricTest, AnotherKeyOrDigestDoesNotMatch) {
  RSAKey key = MakeRsa();
  RSAKey other(test::FromUrlSafe(test::kRs256N), test::FromUrlSafe(test::kRs256E));
  const bytes signature = Sign(key, HT_Sha256);
  EXPECT_FALSE(Matches(signature, other, HT_Sha256));
  EXPECT_FALSE(Matches(signature, key, HT_Sha512));
}

TEST(DigestAsymmetricTest, AnyLengthOfDataIsSigned) {
  EllipticCurveKey key(test::GetCurvePem("P-256").pkcs8);
  for (const string& data : {string(), string("a\0b", 3), string(1 << 20, 'x')}) {
    EXPECT_TRUE(Matches(Sign(key, HT_Sha256, data), key, HT_Sha256, data));
  }
  EXPECT_FALSE(Matches(Sign(key, HT_Sha256, string("a\0b", 3)), key, HT_Sha256, string("a\0c", 3)));
}

TEST(DigestAsymmetricTest, NullDataWithoutLengthIsSigned) {
  EllipticCurveKey key(test::GetCurvePem("P-256").pkcs8);
  bytes signature;
  EXPECT_TRUE(SignDigestAsymmetric(signature, nullptr, 0, key, HT_Sha256, nullptr));
  EXPECT_TRUE(VerifyDigestAsymmetric(signature.data(), signature.size(), nullptr, 0, key, HT_Sha256, nullptr));
}

TEST(DigestAsymmetricTest, APublicKeyCannotSign) {
  RSAKey key(test::GetRsaPem(2048).publicKey);
  EXPECT_EQ(GetSignError(key, HT_Sha256), SE_CannotSign);
}

TEST(DigestAsymmetricTest, APublicKeyThatClaimsToSignFails) {
  RSAKey key(test::GetRsaPem(2048).publicKey);
  key.capabilities |= AsymmetricKey::AC_Sign;
  EXPECT_EQ(GetSignError(key, HT_Sha256), SE_CryptoFailure);
}

TEST(DigestAsymmetricTest, AKeyWithAnErrorSignsAndVerifiesNothing) {
  RSAKey rsa(bytes{1}, bytes{1});
  EllipticCurveKey curve(EC_P256, {}, {});
  for (AsymmetricKey* key : {static_cast<AsymmetricKey*>(&rsa), static_cast<AsymmetricKey*>(&curve)}) {
    key->capabilities = AsymmetricKey::AC_Sign | AsymmetricKey::AC_Verify;
    EXPECT_EQ(GetSignError(*key, HT_Sha256), SE_InvalidKey);
    EXPECT_EQ(GetVerifyError(*key, HT_Sha256), SE_InvalidKey);
  }
}

TEST(DigestAsymmetricTest, AnUnknownDigestIsAnError) {
  RSAKey key = MakeRsa();
  for (const int type : {0, 1, 6}) {
    EXPECT_EQ(GetSignError(key, static_cast<HashType>(type)), SE_UnknownAlgorithm);
    EXPECT_EQ(GetVerifyError(key, static_cast<HashType>(type)), SE_UnknownAlgorithm);
  }
}

TEST(DigestAsymmetricTest, Sha1SignsNothing) {
  RSAKey key = MakeRsa();
  EXPECT_EQ(GetSignError(key, HT_Sha1), SE_UnknownAlgorithm);
  EXPECT_EQ(GetVerifyError(key, HT_Sha1), SE_UnknownAlgorithm);
}

TEST(DigestAsymmetricTest, TheErrorMayBeNull) {
  RSAKey bad(bytes{1}, bytes{1});
  bytes out;
  EXPECT_FALSE(SignDigestAsymmetric(out, "a", 1, bad, HT_Sha256, nullptr));
  EXPECT_FALSE(VerifyDigestAsymmetric("s", 1, "a", 1, bad, HT_Sha256, nullptr));
}

TEST(DigestAsymmetricTest, TheErrorQueueStaysAsItWas) {
  RSAKey key(test::GetRsaPem(2048).publicKey);
  key.capabilities |= AsymmetricKey::AC_Sign;
  for (const bool hadError : {false, true}) {
    ERR_clear_error();
    if (hadError) ERR_raise(ERR_LIB_USER, 7);
    GetSignError(key, HT_Sha256);
    Matches(bytes(256, '\x01'), key, HT_Sha256);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), hadError ? 7 : 0);
    EXPECT_EQ(ERR_get_error(), 0U);
  }
}

TEST(DigestAsymmetricTest, OneKeyServesManyThreads) {
  EllipticCurveKey key(test::GetCurvePem("P-256").pkcs8);
  RSAKey rsa = MakeRsa();
  const bytes rsaSignature = Sign(rsa, HT_Sha256);
  vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        EXPECT_TRUE(Matches(Sign(key, HT_Sha256), key, HT_Sha256));
        EXPECT_TRUE(Matches(rsaSignature, rsa, HT_Sha256));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace qx
