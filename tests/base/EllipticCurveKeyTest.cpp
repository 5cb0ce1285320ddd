#include "netweft/base/crypto/EllipticCurveKey.h"

#include "tests/base/JwsExamples.h"
#include "tests/base/PemKeys.h"

#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/err.h>

namespace qx {
namespace {

struct CurveCase {
  EllipticCurve curve;
  const char* name;
  size_t fieldBytes;
};

const vector<CurveCase> kCurves{{EC_P256, "P-256", 32}, {EC_P384, "P-384", 48}, {EC_P521, "P-521", 66}};

bytes Pad(bytes number, size_t size) {
  number.insert(number.begin(), size - number.size(), '\0');
  return number;
}

bytes GetX(const CurveCase& curve) {
  return Pad(test::GetNumber(test::GetCurvePem(curve.name).publicKey, OSSL_PKEY_PARAM_EC_PUB_X), curve.fieldBytes);
}

bytes GetY(const CurveCase& curve) {
  return Pad(test::GetNumber(test::GetCurvePem(curve.name).publicKey, OSSL_PKEY_PARAM_EC_PUB_Y), curve.fieldBytes);
}

void ExpectRefused(const EllipticCurveKey& key) {
  EXPECT_TRUE(key.hasError());
  EXPECT_NE(key.getErrorMessage(), "");
  EXPECT_EQ(key.capabilities, 0);
  EXPECT_FALSE(key.canSign());
}

TEST(EllipticCurveKeyTest, TheNumbersOfTheCurvesAreFixed) {
  EXPECT_EQ(static_cast<int>(EC_P256), 3);
  EXPECT_EQ(static_cast<int>(EC_P384), 4);
  EXPECT_EQ(static_cast<int>(EC_P521), 5);
}

TEST(EllipticCurveKeyTest, CoordinatesMakeAPublicKey) {
  for (const CurveCase& curve : kCurves) {
    const EllipticCurveKey key(curve.curve, GetX(curve), GetY(curve));
    EXPECT_FALSE(key.hasError()) << curve.name << key.getErrorMessage();
    EXPECT_EQ(key.getKind(), AsymmetricKey::AK_EllipticCurve);
    EXPECT_EQ(key.getCurve(), curve.curve);
    EXPECT_EQ(key.capabilities, AsymmetricKey::AC_Verify);
  }
}

TEST(EllipticCurveKeyTest, APointOffTheCurveIsRefused) {
  for (const CurveCase& curve : kCurves) {
    bytes y = GetY(curve);
    y.back() = static_cast<char>(y.back() ^ 1);
    ExpectRefused(EllipticCurveKey(curve.curve, GetX(curve), y));
  }
}

TEST(EllipticCurveKeyTest, APointOfAnotherCurveIsRefused) {
  ExpectRefused(EllipticCurveKey(EC_P384, GetX(kCurves[0]), GetY(kCurves[0])));
}

TEST(EllipticCurveKeyTest, TheZeroPointIsRefused) {
  for (const CurveCase& curve : kCurves) ExpectRefused(EllipticCurveKey(curve.curve, {}, {}));
}

TEST(EllipticCurveKeyTest, CoordinatesLongerThanTheFieldAreRefused) {
  bytes longX = GetX(kCurves[0]);
  longX.insert(longX.begin(), '\0');
  ExpectRefused(EllipticCurveKey(EC_P256, longX, GetY(kCurves[0])));
  bytes longY = GetY(kCurves[0]);
  longY.push_back('\0');
  ExpectRefused(EllipticCurveKey(EC_P256, GetX(kCurves[0]), longY));
  ExpectRefused(EllipticCurveKey(EC_P256, bytes(1 << 20, '\x01'), GetY(kCurves[0])));
}

TEST(EllipticCurveKeyTest, ShortCoordinatesAreFilledWithZeros) {
  // The field of P-521 has 521 bits, so that the first byte of most coordinates is small; the standard's is 1 and 0.
  bytes y = test::FromUrlSafe(test::kEs512Y);
  ASSERT_EQ(y.front(), '\0');
  y.erase(y.begin());
  const EllipticCurveKey key(EC_P521, test::FromUrlSafe(test::kEs512X), y);
  EXPECT_FALSE(key.hasError()) << key.getErrorMessage();
}

TEST(EllipticCurveKeyTest, AnUnknownCurveIsRefused) {
  for (const int curve : {0, 1, 2, 6, -1}) {
    ExpectRefused(EllipticCurveKey(static_cast<EllipticCurve>(curve), GetX(kCurves[0]), GetY(kCurves[0])));
  }
}

TEST(EllipticCurveKeyTest, PrivatePemMakesAKeyThatSigns) {
  for (const CurveCase& curve : kCurves) {
    const test::PemKey& pem = test::GetCurvePem(curve.name);
    ASSERT_NE(pem.pkcs8.find("BEGIN PRIVATE KEY"), string::npos);
    ASSERT_NE(pem.traditional.find("BEGIN EC PRIVATE KEY"), string::npos);
    for (const string& text : {pem.pkcs8, pem.traditional}) {
      const EllipticCurveKey key(text);
      EXPECT_FALSE(key.hasError()) << key.getErrorMessage();
      EXPECT_EQ(key.getCurve(), curve.curve);
      EXPECT_TRUE(key.canSign());
    }
  }
}

TEST(EllipticCurveKeyTest, PublicPemMakesAKeyThatOnlyVerifies) {
  for (const CurveCase& curve : kCurves) {
    const EllipticCurveKey key(test::GetCurvePem(curve.name).publicKey);
    EXPECT_FALSE(key.hasError()) << key.getErrorMessage();
    EXPECT_EQ(key.getCurve(), curve.curve);
    EXPECT_EQ(key.capabilities, AsymmetricKey::AC_Verify);
  }
}

TEST(EllipticCurveKeyTest, CurveParametersInFrontOfAPrivateKeyAreSkipped) {
  // As the command-line tool writes its keys. The parameters are the object identifier of P-256.
  const string parameters = "-----BEGIN EC PARAMETERS-----\nBggqhkjOPQMBBw==\n-----END EC PARAMETERS-----\n";
  const EllipticCurveKey key(parameters + test::GetCurvePem("P-256").traditional);
  EXPECT_FALSE(key.hasError()) << key.getErrorMessage();
  EXPECT_TRUE(key.canSign());
}

TEST(EllipticCurveKeyTest, EncryptedPemIsRefusedWithoutAskingForItsPassword) {
  const test::PemKey& pem = test::GetCurvePem("P-256");
  ASSERT_NE(pem.encryptedPkcs8.find("ENCRYPTED"), string::npos);
  ASSERT_NE(pem.encryptedTraditional.find("ENCRYPTED"), string::npos);
  ExpectRefused(EllipticCurveKey(pem.encryptedPkcs8));
  ExpectRefused(EllipticCurveKey(pem.encryptedTraditional));
}

TEST(EllipticCurveKeyTest, AnotherCurveInPemIsRefused) {
  ExpectRefused(EllipticCurveKey(test::GetCurvePem("secp256k1").pkcs8));
  ExpectRefused(EllipticCurveKey(test::GetCurvePem("P-224").publicKey));
}

TEST(EllipticCurveKeyTest, PemOfAnotherKindIsRefused) {
  ExpectRefused(EllipticCurveKey(test::GetRsaPem(2048).pkcs8));
  ExpectRefused(EllipticCurveKey(test::GetEd25519Pem().pkcs8));
  ExpectRefused(EllipticCurveKey(string("no key at all")));
}

TEST(EllipticCurveKeyTest, TheErrorQueueStaysAsItWas) {
  ERR_clear_error();
  const EllipticCurveKey bad(string("no key at all"));
  const EllipticCurveKey encrypted(test::GetCurvePem("P-256").encryptedPkcs8);
  const EllipticCurveKey offCurve(EC_P256, {1}, {1});
  EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
}  // namespace qx
