#include "netweft/jwt/internal/JwkReader.h"

#include "netweft/base/crypto/DigestAsymmetric.h"
#include "netweft/base/json/Json2Variant.h"
#include "tests/base/PemKeys.h"
#include "tests/jwt/KeySetSamples.h"

#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/err.h>

namespace qx::jwt {
namespace {

using test::CurveMembers;
using test::Members;
using test::OctMembers;
using test::Quote;
using test::RsaMembers;
using test::With;
using test::Without;

constexpr const char* kNoUsage = "Rejected (no field \"use\" or \"key_ops\")";
constexpr const char* kOtherUsage = "Rejected (key is not meant for signature validation)";
constexpr const char* kBadRsa = "Rejected (RSA n or e parameters are invalid)";
constexpr const char* kBadCurveKey = "Rejected (ECDSA crv, x, or y parameters are invalid)";
constexpr const char* kUnknownCurve = "Rejected (unrecognised ECDSA curve specified in \"crv\")";
constexpr const char* kMismatch = "Rejected (mismatch between \"alg\" and \"kty\")";
constexpr const char* kSymmetric = "Rejected (key is symmetric)";
constexpr const char* kBadKind = "Rejected (invalid field \"kty\")";

KeyRecord Read(const Members& members) {
  const string json = test::ToJson(members);
  qxVariantMapImpl jwk;
  EXPECT_TRUE(json::Json2Variant::Convert(json.data(), json.size(), jwk)) << json;
  return ReadJwk(jwk);
}

void ExpectKey(const Members& members, AsymmetricKey::Kind kind, int allowedAlgs) {
  const KeyRecord record = Read(members);
  EXPECT_EQ(record.rejection, "");
  ASSERT_NE(record.key, nullptr);
  EXPECT_EQ(record.key->getKind(), kind);
  EXPECT_FALSE(record.key->canSign());
  EXPECT_EQ(record.allowedAlgs, allowedAlgs);
}
void ExpectRsaKey(const Members& members) { ExpectKey(members, AsymmetricKey::AK_Rsa, 896); }
void ExpectCurveKey(const Members& members) { ExpectKey(members, AsymmetricKey::AK_EllipticCurve, 7168); }

void ExpectRejected(const Members& members, const string& rejection) {
  const KeyRecord record = Read(members);
  EXPECT_EQ(record.rejection, rejection) << test::ToJson(members);
  EXPECT_EQ(record.key, nullptr);
  EXPECT_EQ(record.allowedAlgs, 0);
}

string GetCoordinate(const string& curve, size_t fieldBytes, const char* name) {
  bytes number = qx::test::GetNumber(qx::test::GetCurvePem(curve).publicKey, name);
  number.insert(number.begin(), fieldBytes - number.size(), '\0');
  string text;
  base64Encode(number.data(), number.size(), text, B64_UrlSafeBare);
  return Quote(text);
}

/// With "crv" called by any name.
Members MembersOn(const string& curve, size_t fieldBytes, const string& crv) {
  return With(
      With(With(CurveMembers("k"), "crv", Quote(crv)), "x", GetCoordinate(curve, fieldBytes, OSSL_PKEY_PARAM_EC_PUB_X)),
      "y", GetCoordinate(curve, fieldBytes, OSSL_PKEY_PARAM_EC_PUB_Y));
}

TEST(JwkReaderTest, AnRsaKeyIsForAllThreeAlgorithmsOfItsFamily) {
  ExpectRsaKey(RsaMembers("k"));
  for (const char* alg : {"RS256", "RS384", "RS512", "rs256", ""}) {
    ExpectRsaKey(With(RsaMembers("k"), "alg", Quote(alg)));
  }
}

TEST(JwkReaderTest, ACurveKeyIsForAllThreeAlgorithmsOfItsFamily) {
  ExpectCurveKey(CurveMembers("k"));
  // Nothing compares the algorithm with the curve here.
  for (const char* alg : {"ES256", "ES384", "ES512", "es256", ""}) {
    ExpectCurveKey(With(CurveMembers("k"), "alg", Quote(alg)));
  }
}

TEST(JwkReaderTest, TheKeysOfAllThreeCurvesAreRead) {
  const std::tuple<const char*, size_t, const char*, EllipticCurve> curves[] = {
      {"P-256", 32, "P-256", EC_P256}, {"P-384", 48, "P-384", EC_P384}, {"P-521", 66, "P-512", EC_P521}};
  for (const auto& [curve, fieldBytes, crv, expected] : curves) {
    const KeyRecord record = Read(MembersOn(curve, fieldBytes, crv));
    EXPECT_EQ(record.rejection, "");
    const auto* key = dynamic_cast<const EllipticCurveKey*>(record.key.get());
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(key->getCurve(), expected);
  }
}

TEST(JwkReaderTest, AKeyThatWasReadVerifiesASignature) {
  const pair<Members, pair<string, string>> examples[] = {
      {RsaMembers("k"), {qx::test::kRs256Input, qx::test::kRs256Signature}},
      {CurveMembers("k"), {qx::test::kEs256Input, qx::test::kEs256Signature}}};
  for (const auto& [members, example] : examples) {
    const KeyRecord record = Read(members);
    ASSERT_NE(record.key, nullptr);
    const bytes signature = qx::test::FromUrlSafe(example.second);
    EXPECT_TRUE(VerifyDigestAsymmetric(signature.data(), signature.size(), example.first.data(), example.first.size(),
                                       *record.key, HT_Sha256, nullptr));
  }
}

TEST(JwkReaderTest, ThePrivateHalfOfAKeyIsNotTaken) {
  ExpectCurveKey(With(CurveMembers("k"), "d", Quote("jpsQnnGQmL-YBIffH1136cspYG6-0iY7X1fCE9-E9LI")));
}

TEST(JwkReaderTest, WithoutUsageAKeyIsRejected) {
  ExpectRejected(Without(RsaMembers("k"), "use"), kNoUsage);
  ExpectRejected(Without(CurveMembers("k"), "use"), kNoUsage);
}

TEST(JwkReaderTest, OperationsInAListCountAsNone) {
  ExpectRejected(With(Without(RsaMembers("k"), "use"), "key_ops", "[\"verify\"]"), kNoUsage);
}

TEST(JwkReaderTest, AUsageThatIsNoStringCountsAsNone) {
  for (const char* json : {"null", "1", "true", "[\"sig\"]", "{}"}) {
    ExpectRejected(With(RsaMembers("k"), "use", json), kNoUsage);
    ExpectRejected(With(Without(RsaMembers("k"), "use"), "key_ops", json), kNoUsage);
  }
}

TEST(JwkReaderTest, OperationsThatCountAsNoneDoNotSpoilAGoodUse) {
  ExpectRsaKey(With(RsaMembers("k"), "key_ops", "[\"encrypt\"]"));
  ExpectRsaKey(With(With(RsaMembers("k"), "use", "[\"enc\"]"), "key_ops", Quote("verify")));
}

TEST(JwkReaderTest, OperationsAsTextWillDo) {
  ExpectRsaKey(With(Without(RsaMembers("k"), "use"), "key_ops", Quote("verify")));
  ExpectRsaKey(With(RsaMembers("k"), "key_ops", Quote("verify")));
}

TEST(JwkReaderTest, AKeyForAnotherUseIsRejected) {
  for (const char* use : {"enc", "SIG", "", "sig ", "verify"}) {
    ExpectRejected(With(RsaMembers("k"), "use", Quote(use)), kOtherUsage);
  }
}

TEST(JwkReaderTest, AKeyForOtherOperationsIsRejected) {
  for (const char* operation : {"sign", "Verify", "", "sig"}) {
    ExpectRejected(With(Without(RsaMembers("k"), "use"), "key_ops", Quote(operation)), kOtherUsage);
    ExpectRejected(With(RsaMembers("k"), "key_ops", Quote(operation)), kOtherUsage);
  }
  ExpectRejected(With(With(RsaMembers("k"), "use", Quote("enc")), "key_ops", Quote("verify")), kOtherUsage);
}

TEST(JwkReaderTest, AnUnknownAlgorithmIsRejectedByItsName) {
  for (const string alg : {"RSA-OAEP", "none", "PS256", "EdDSA", " RS256"}) {
    ExpectRejected(With(RsaMembers("k"), "alg", Quote(alg)),
                   "Rejected ( '" + alg + "' unsupported value for 'alg' field)");
  }
}

TEST(JwkReaderTest, AnAlgorithmThatIsNoStringIsReadAsItsText) {
  ExpectRejected(With(RsaMembers("k"), "alg", "256"), "Rejected ( '256' unsupported value for 'alg' field)");
  ExpectRejected(With(RsaMembers("k"), "alg", "null"), "Rejected ( 'null' unsupported value for 'alg' field)");
}

TEST(JwkReaderTest, ASymmetricKeyIsRejected) {
  ExpectRejected(OctMembers("k"), kSymmetric);
  ExpectRejected(With(OctMembers("k"), "alg", Quote("HS256")), kSymmetric);
}

TEST(JwkReaderTest, AnyOtherKindIsRejected) {
  for (const char* kind : {"rsa", "Rsa", "ec", "OCT", "OKP", "", "RSA "}) {
    ExpectRejected(With(RsaMembers("k"), "kty", Quote(kind)), kBadKind);
  }
  ExpectRejected(Without(RsaMembers("k"), "kty"), kBadKind);
  ExpectRejected(With(RsaMembers("k"), "kty", "[\"RSA\"]"), kBadKind);
}

TEST(JwkReaderTest, RsaNumbersMustBeThereAndDecode) {
  for (const char* name : {"n", "e"}) {
    ExpectRejected(Without(RsaMembers("k"), name), kBadRsa);
    for (const char* text : {"", "A", "AQ==", "AQAB\\n", "+/+/", "AR", "A Q B"}) {
      ExpectRejected(With(RsaMembers("k"), name, Quote(text)), kBadRsa);
    }
    ExpectRejected(With(RsaMembers("k"), name, "[]"), kBadRsa);
  }
}

TEST(JwkReaderTest, AnRsaKeyForAnAlgorithmOfAnotherFamilyIsRejected) {
  for (const char* alg : {"ES256", "ES384", "ES512", "HS256"}) {
    ExpectRejected(With(RsaMembers("k"), "alg", Quote(alg)), kMismatch);
  }
}

TEST(JwkReaderTest, ARefusedRsaKeyIsRejectedWithItsReason) {
  ExpectRejected(With(RsaMembers("k"), "e", Quote("AQ")), "Rejected (RSA key error : RSA exponent is even or under 3)");
  ExpectRejected(With(RsaMembers("k"), "e", Quote("Ag")), "Rejected (RSA key error : RSA exponent is even or under 3)");
  ExpectRejected(With(RsaMembers("k"), "n", Quote("AQAB")),
                 "Rejected (RSA key error : RSA modulus not between 2048 and 16384 bits)");
  ExpectRejected(With(RsaMembers("k"), "n", Quote(string(5464, 'x'))),
                 "Rejected (RSA key error : RSA modulus not between 2048 and 16384 bits)");
}

TEST(JwkReaderTest, CurveAndCoordinatesMustBeThereAndDecode) {
  for (const char* name : {"crv", "x", "y"}) {
    ExpectRejected(Without(CurveMembers("k"), name), kBadCurveKey);
    ExpectRejected(With(CurveMembers("k"), name, Quote("")), kBadCurveKey);
  }
  for (const char* name : {"x", "y"}) {
    for (const char* text : {"A", "AQ==", "+/+/", "AR"}) {
      ExpectRejected(With(CurveMembers("k"), name, Quote(text)), kBadCurveKey);
    }
  }
}

TEST(JwkReaderTest, AnUnknownCurveIsRejected) {
  for (const char* crv : {"P-521", "secp256k1", "p-256", "Ed25519"}) {
    ExpectRejected(With(CurveMembers("k"), "crv", Quote(crv)), kUnknownCurve);
  }
  ExpectRejected(MembersOn("P-521", 66, "P-521"), kUnknownCurve);
}

TEST(JwkReaderTest, ACurveBeyondTheThreeIsRejectedAsNonStandard) {
  for (const int curve : {1, 2, 6, 100}) {
    EXPECT_EQ(FindCurveFlaw(static_cast<EllipticCurve>(curve)), "Rejected (non-standard curve specified in \"crv\")");
  }
  EXPECT_EQ(FindCurveFlaw(EC_Unknown), kUnknownCurve);
  for (const EllipticCurve curve : {EC_P256, EC_P384, EC_P521}) EXPECT_EQ(FindCurveFlaw(curve), "");
}

TEST(JwkReaderTest, ACurveKeyForAnAlgorithmOfAnotherFamilyIsRejected) {
  for (const char* alg : {"RS256", "RS384", "RS512", "HS512"}) {
    ExpectRejected(With(CurveMembers("k"), "alg", Quote(alg)), kMismatch);
  }
}

TEST(JwkReaderTest, ARefusedCurveKeyIsRejectedWithItsReason) {
  ExpectRejected(With(CurveMembers("k"), "x", Quote(qx::test::kEs256Y)),
                 "Rejected (ECDSA key error : point not on the curve)");
  ExpectRejected(With(CurveMembers("k"), "x", Quote(string(44, 'A'))),
                 "Rejected (ECDSA key error : coordinate too long for the curve)");
}

TEST(JwkReaderTest, OfTwoFaultsTheFirstInOrderIsTold) {
  const Members badAlg = With(RsaMembers("k"), "alg", Quote("none"));
  ExpectRejected(Without(badAlg, "use"), kNoUsage);
  ExpectRejected(With(badAlg, "use", Quote("enc")), kOtherUsage);
  ExpectRejected(With(badAlg, "kty", Quote("no")), "Rejected ( 'none' unsupported value for 'alg' field)");
  ExpectRejected(With(badAlg, "n", Quote("")), "Rejected ( 'none' unsupported value for 'alg' field)");
}

TEST(JwkReaderTest, OfTwoFaultsOfAnRsaKeyTheFirstInOrderIsTold) {
  const Members mismatch = With(RsaMembers("k"), "alg", Quote("ES256"));
  ExpectRejected(With(mismatch, "e", Quote("")), kBadRsa);
  ExpectRejected(With(mismatch, "n", Quote("!")), kBadRsa);
  ExpectRejected(With(mismatch, "e", Quote("AQ")), kMismatch);
}

TEST(JwkReaderTest, OfTwoFaultsOfACurveKeyTheFirstInOrderIsTold) {
  const Members mismatch = With(CurveMembers("k"), "alg", Quote("RS256"));
  ExpectRejected(With(With(mismatch, "crv", Quote("P-521")), "y", Quote("")), kBadCurveKey);
  ExpectRejected(With(mismatch, "crv", Quote("P-521")), kUnknownCurve);
  ExpectRejected(With(mismatch, "x", Quote(qx::test::kEs256Y)), kMismatch);
}

TEST(JwkReaderTest, AnEmptyObjectIsRejectedForItsUsage) { ExpectRejected({}, kNoUsage); }

TEST(JwkReaderTest, TheErrorQueueOfTheCryptoLibraryStaysAsItWas) {
  ERR_clear_error();
  Read(With(CurveMembers("k"), "x", Quote(qx::test::kEs256Y)));
  Read(With(RsaMembers("k"), "e", Quote("AQ")));
  EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
}  // namespace qx::jwt
