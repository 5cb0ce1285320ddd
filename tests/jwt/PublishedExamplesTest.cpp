#include "netweft/base/crypto/DigestAsymmetric.h"
#include "netweft/base/crypto/Hash.h"
#include "tests/base/JwsExamples.h"
#include "tests/jwt/CookbookExamples.h"
#include "tests/jwt/TokenSupport.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

/// The examples that the RFCs on signed tokens print. Their signatures hold; whole, most are rejected, for they have no
/// "iat", no "kid" or a payload that is no JSON.
namespace qx::jwt {
namespace {

using namespace test;
using qx::test::LogCapture;
using qx::test::Warning;

/// Where "exp" of the examples of RFC 7515 still holds.
constexpr int64 kThen = 1300819380;

bytes Decode(const string& text) { return qx::test::FromUrlSafe(text); }
string DecodeText(const string& text) { return FromUrlSafe(text); }

string Join(const string& input, const string& signature) { return input + "." + signature; }

shared_ptr<AsymmetricKey> MakeRsa(const string& n, const string& e) {
  return std::make_shared<RSAKey>(Decode(n), Decode(e));
}
shared_ptr<AsymmetricKey> MakeCurve(EllipticCurve curve, const string& x, const string& y) {
  return std::make_shared<EllipticCurveKey>(curve, Decode(x), Decode(y));
}

bool Holds(AsymmetricKey& key, HashType hash, const string& input, const string& signature) {
  const bytes raw = Decode(signature);
  return VerifyDigestAsymmetric(raw.data(), raw.size(), input.data(), input.size(), key, hash, nullptr);
}

Verifier::RejectCause GetHmacCause(const string& key64, const string& token, bool skipTimes, int64 now = kThen) {
  Verifier verifier;
  verifier.setClientInfo(DecodeText(key64), nullptr, HS256, skipTimes);
  return GetCause(verifier, token, now);
}

Verifier::RejectCause GetKeyCause(shared_ptr<AsymmetricKey> key, const string& token, bool skipTimes,
                                  int64 now = kThen) {
  OneKeyProvider provider(std::move(key));
  Verifier verifier;
  verifier.setClientInfo({}, &provider, sAsymmetricAlgs, skipTimes);
  return GetCause(verifier, token, now);
}

TEST(PublishedExamplesTest, TheHs256ExampleHoldsAndHasNoIssueTime) {
  const string token = Join(qx::test::kHs256Input, qx::test::kHs256Mac);
  EXPECT_EQ(GetHmacCause(qx::test::kHs256Key, token, true), Verifier::RC_None);
  EXPECT_EQ(GetHmacCause(qx::test::kHs256Key, token, false), Verifier::RC_IssuedInFuture);
  EXPECT_EQ(GetHmacCause(qx::test::kHs256Key, token, false, kNow), Verifier::RC_Expired);
}

TEST(PublishedExamplesTest, TheRs256ExampleHoldsAndHasNoIssueTime) {
  const auto key = MakeRsa(qx::test::kRs256N, qx::test::kRs256E);
  const string token = Join(qx::test::kRs256Input, qx::test::kRs256Signature);
  EXPECT_EQ(GetKeyCause(key, token, true), Verifier::RC_None);
  EXPECT_EQ(GetKeyCause(key, token, false), Verifier::RC_IssuedInFuture);
}

TEST(PublishedExamplesTest, TheEs256ExampleHoldsAndHasNoIssueTime) {
  const auto key = MakeCurve(qx::EC_P256, qx::test::kEs256X, qx::test::kEs256Y);
  const string token = Join(qx::test::kEs256Input, qx::test::kEs256Signature);
  EXPECT_EQ(GetKeyCause(key, token, true), Verifier::RC_None);
  EXPECT_EQ(GetKeyCause(key, token, false), Verifier::RC_IssuedInFuture);
}

TEST(PublishedExamplesTest, TheEs512ExamplesSignatureHoldsAndItsPayloadIsNoJson) {
  const auto key = MakeCurve(qx::EC_P521, qx::test::kEs512X, qx::test::kEs512Y);
  EXPECT_TRUE(Holds(*key, HT_Sha512, qx::test::kEs512Input, qx::test::kEs512Signature));
  EXPECT_EQ(GetKeyCause(key, Join(qx::test::kEs512Input, qx::test::kEs512Signature), true), Verifier::RC_Malformed);
}

TEST(PublishedExamplesTest, TheExamplesNameNoKeySoThatAStoreKnowsNone) {
  const LogCapture log;
  EXPECT_EQ(GetKeyCause(nullptr, Join(qx::test::kRs256Input, qx::test::kRs256Signature), true),
            Verifier::RC_InternalError);
  ASSERT_EQ(log.getLines().size(), 1U);
  EXPECT_EQ(log.getLines()[0], Warning("no such key"));
}

TEST(PublishedExamplesTest, TheCookbooksRsaSignatureHoldsAndItsPayloadIsNoJson) {
  const auto key = MakeRsa(kCookbookRsaN, kCookbookRsaE);
  const string input = Join(kCookbookRsaHeader, kCookbookPayload);
  EXPECT_TRUE(Holds(*key, HT_Sha256, input, kCookbookRsaSignature));
  EXPECT_EQ(GetKeyCause(key, Join(input, kCookbookRsaSignature), true), Verifier::RC_Malformed);
}

TEST(PublishedExamplesTest, TheCookbooksCurveSignatureHoldsAndItsPayloadIsNoJson) {
  const auto key = MakeCurve(qx::EC_P521, kCookbookCurveX, kCookbookCurveY);
  const string input = Join(kCookbookCurveHeader, kCookbookPayload);
  EXPECT_TRUE(Holds(*key, HT_Sha512, input, kCookbookCurveSignature));
  EXPECT_EQ(GetKeyCause(key, Join(input, kCookbookCurveSignature), true), Verifier::RC_Malformed);
}

TEST(PublishedExamplesTest, TheCookbooksMacHoldsAndItsPayloadIsNoJson) {
  const bytes key = Decode(kCookbookMacKey);
  const string input = Join(kCookbookMacHeader, kCookbookPayload);
  bytes mac;
  ASSERT_TRUE(ComputeHmac(HT_Sha256, key.data(), key.size(), input.data(), input.size(), mac));
  EXPECT_EQ(mac, Decode(kCookbookMac));
  EXPECT_EQ(GetHmacCause(kCookbookMacKey, Join(input, kCookbookMac), true), Verifier::RC_Malformed);
}

}  // namespace
}  // namespace qx::jwt
