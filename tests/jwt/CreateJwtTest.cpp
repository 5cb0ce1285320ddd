#include "netweft/jwt/CreateJwt.h"

#include "netweft/base/crypto/DigestAsymmetric.h"
#include "netweft/base/system/qxSystemUtils.h"
#include "tests/base/PemKeys.h"
#include "tests/jwt/TokenSupport.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <limits>

namespace qx::jwt {
namespace {

using namespace test;
using qx::test::Detail;
using qx::test::LogCapture;

const string kUntouched = "untouched";

/// Claims with all three times given.
qxVariantMapImpl MakeClaims() { return ParseMap(R"({"exp":1700000600,"iat":1700000000,"nbf":1700000000})"); }

string CreateHashed(qxVariantMapImpl claims, Alg alg = HS256, int flags = 0) {
  string token;
  EXPECT_TRUE(CreateHashedJwt(claims, kSecret, alg, token, flags));
  return token;
}

/// False with `token` untouched; anything else fails the test.
bool IsRefused(qxVariantMapImpl& claims, const string& key = kSecret, int alg = HS256) {
  string token = kUntouched;
  const bool done = CreateHashedJwt(claims, key, static_cast<Alg>(alg), token, 0);
  EXPECT_EQ(token == kUntouched, !done);
  return !done;
}

bool IsSigningRefused(qxVariantMapImpl& claims, AsymmetricKey& key, int alg) {
  string token = kUntouched;
  const bool done = CreateSignedJwt(claims, key, static_cast<Alg>(alg), token, 0);
  EXPECT_EQ(token == kUntouched, !done);
  return !done;
}

TEST(CreateJwtTest, NowIsTheClocksTime) {
  const int64 before = qxSystemUtils::GetSecElapsedSinceEpoch();
  const int64 now = NowSec();
  EXPECT_LE(before, now);
  EXPECT_LE(now, qxSystemUtils::GetSecElapsedSinceEpoch());
}

TEST(CreateJwtTest, ATokenIsHeaderClaimsAndMacInUrlSafeBase64) {
  EXPECT_EQ(CreateHashed(MakeClaims()),
            MakeMacToken(R"({"alg":"HS256","typ":"JWT"})", R"({"exp":1700000600,"iat":1700000000,"nbf":1700000000})"));
}

TEST(CreateJwtTest, EachHmacAlgorithmUsesItsDigest) {
  for (const Alg alg : kHmacAlgs) {
    EXPECT_EQ(CreateHashed(MakeClaims(), alg),
              MakeMacToken(R"({"alg":")" + AlgToString(alg) + R"(","typ":"JWT"})",
                           R"({"exp":1700000600,"iat":1700000000,"nbf":1700000000})", kSecret, GetHashOf(alg)));
  }
}

TEST(CreateJwtTest, AHashedTokenNamesNoKey) { EXPECT_FALSE(ReadHeader(CreateHashed(MakeClaims())).contains("kid")); }

TEST(CreateJwtTest, EachAsymmetricAlgorithmSignsHeaderAndClaims) {
  for (const Alg alg : kAsymmetricAlgs) {
    qxVariantMapImpl claims = MakeClaims();
    AsymmetricKey& key = *GetKeyFor(alg);
    string token;
    ASSERT_TRUE(CreateSignedJwt(claims, key, alg, token, 0));
    EXPECT_EQ(ReadHeader(token), ParseMap(R"({"alg":")" + AlgToString(alg) + R"(","typ":"JWT"})"));
    const string text = GetText(token);
    const string signature = FromUrlSafe(GetSignature(token));
    EXPECT_TRUE(VerifyDigestAsymmetric(signature.data(), signature.size(), text.data(), text.size(), key,
                                       GetHashOf(alg), nullptr))
        << AlgToString(alg);
  }
}

TEST(CreateJwtTest, CurveSignaturesHaveTheLengthsOfAJws) {
  const map<Alg, size_t> lengths{{ES256, 64}, {ES384, 96}, {ES512, 132}};
  for (const auto& [alg, length] : lengths) {
    qxVariantMapImpl claims = MakeClaims();
    string token;
    ASSERT_TRUE(CreateSignedJwt(claims, *GetKeyFor(alg), alg, token, 0));
    EXPECT_EQ(FromUrlSafe(GetSignature(token)).size(), length);
  }
}

TEST(CreateJwtTest, TheKeysIdentifierIsTheTokensKid) {
  RSAKey key(qx::test::GetRsaPem(2048).pkcs8);
  key.keyId = "first \"key\"";
  qxVariantMapImpl claims = MakeClaims();
  string token;
  ASSERT_TRUE(CreateSignedJwt(claims, key, RS256, token, 0));
  EXPECT_EQ(FromUrlSafe(token.substr(0, token.find('.'))), R"({"alg":"RS256","kid":"first \"key\"","typ":"JWT"})");
}

TEST(CreateJwtTest, MissingTimesAreAddedAndTheTokenHoldsThem) {
  const int64 before = NowSec();
  qxVariantMapImpl claims;
  claims["exp"] = before + 600;
  string token;
  ASSERT_TRUE(CreateHashedJwt(claims, kSecret, HS256, token, 0));
  EXPECT_GE(claims.getInteger("iat", 0), before);
  EXPECT_LE(claims.getInteger("iat", 0), NowSec());
  EXPECT_EQ(claims.getInteger("nbf", 0), claims.getInteger("iat", 0));
  EXPECT_EQ(claims.find("iat")->second.getType(), qxVariant::VT_Integer);
  EXPECT_EQ(ReadPayload(token), claims);
}

TEST(CreateJwtTest, AGivenNotBeforeStays) {
  qxVariantMapImpl claims = ParseMap(R"({"exp":1700000600,"iat":1700000000,"nbf":5})");
  EXPECT_EQ(ReadPayload(CreateHashed(claims)).getInteger("nbf", 0), 5);
}

TEST(CreateJwtTest, AMissingNotBeforeIsTheGivenIssueTime) {
  EXPECT_EQ(ReadPayload(CreateHashed(ParseMap(R"({"exp":1700000600,"iat":1700000001})"))).getInteger("nbf", 0),
            1700000001);
}

TEST(CreateJwtTest, TheLifetimeIsCountedFromTheGivenIssueTimeWhateverTheClockSays) {
  CreateHashed(ParseMap(R"({"exp":86401,"iat":1})"));
  CreateHashed(ParseMap(R"({"exp":99999999999,"iat":99999999999})"));
}

TEST(CreateJwtTest, AnEndAtTheVeryStartPasses) { CreateHashed(ParseMap(R"({"exp":1700000000,"iat":1700000000})")); }

TEST(CreateJwtTest, AnEndBehindTheLongestLifetimeIsLoggedAndFails) {
  for (const char* json : {R"({"exp":1700086401,"iat":1700000000})", R"({"exp":1699999999,"iat":1700000000})"}) {
    const LogCapture log;
    qxVariantMapImpl claims = ParseMap(json);
    EXPECT_TRUE(IsRefused(claims)) << json;
    ASSERT_EQ(log.getLines().size(), 1U);
    EXPECT_EQ(log.getLines()[0], Detail("jwt", "Exp should be in range now + ]0;24h]"));
    EXPECT_FALSE(claims.contains("nbf"));
  }
}

TEST(CreateJwtTest, ARefusedEndLeavesTheAddedIssueTime) {
  const int64 before = NowSec();
  qxVariantMapImpl claims = ParseMap(R"({"exp":1})");
  EXPECT_TRUE(IsRefused(claims));
  EXPECT_GE(claims.getInteger("iat", 0), before);
}

TEST(CreateJwtTest, ALongestLifetimeBeyondTheRangeSaturates) {
  qxVariantMapImpl claims;
  claims["iat"] = std::numeric_limits<int64>::max() - 10;
  claims["exp"] = std::numeric_limits<int64>::max();
  CreateHashed(claims);
  claims["iat"] = std::numeric_limits<int64>::min();
  EXPECT_TRUE(IsRefused(claims));
}

TEST(CreateJwtTest, ANonIntegerEndIsReadAsAnInteger) {
  CreateHashed(ParseMap(R"({"exp":"1700000600","iat":"1700000000"})"));
  qxVariantMapImpl text = ParseMap(R"({"exp":"soon","iat":1700000000})");
  EXPECT_TRUE(IsRefused(text));
}

TEST(CreateJwtTest, NoEndFailsSilently) {
  const LogCapture log;
  qxVariantMapImpl claims = ParseMap(R"({"iss":"me"})");
  EXPECT_TRUE(IsRefused(claims));
  EXPECT_TRUE(log.getLines().empty());
  EXPECT_EQ(claims, ParseMap(R"({"iss":"me"})"));
}

TEST(CreateJwtTest, AnEmptySecretFailsBeforeAnythingIsAdded) {
  const LogCapture log;
  qxVariantMapImpl claims = ParseMap(R"({"exp":1})");
  EXPECT_TRUE(IsRefused(claims, ""));
  EXPECT_EQ(claims, ParseMap(R"({"exp":1})"));
  EXPECT_TRUE(log.getLines().empty());
}

TEST(CreateJwtTest, OnlyOneHmacAlgorithmMakesAHashedToken) {
  const LogCapture log;
  for (const int alg : {0, 1, 48, 112, 16 | 128, int{RS256}, int{ES512}, 8192, -1}) {
    qxVariantMapImpl claims = ParseMap(R"({"exp":1})");
    EXPECT_TRUE(IsRefused(claims, kSecret, alg)) << alg;
    EXPECT_FALSE(claims.contains("iat"));
  }
  EXPECT_TRUE(log.getLines().empty());
}

TEST(CreateJwtTest, OnlyOneAsymmetricAlgorithmMakesASignedToken) {
  const LogCapture log;
  for (const int alg : {0, int{HS256}, 384, 128 | 16, 8064, 8192, -1}) {
    qxVariantMapImpl claims = ParseMap(R"({"exp":1})");
    EXPECT_TRUE(IsSigningRefused(claims, *GetKeyFor(RS256), alg)) << alg;
    EXPECT_FALSE(claims.contains("iat"));
  }
  EXPECT_TRUE(log.getLines().empty());
}

TEST(CreateJwtTest, AKeyThatCannotSignFailsBeforeAnythingIsAdded) {
  const LogCapture log;
  RSAKey key(qx::test::GetRsaPem(2048).publicKey);
  qxVariantMapImpl claims = ParseMap(R"({"exp":1})");
  EXPECT_TRUE(IsSigningRefused(claims, key, RS256));
  EXPECT_FALSE(claims.contains("iat"));
  EXPECT_TRUE(log.getLines().empty());
}

TEST(CreateJwtTest, AKeyOfAnotherKindFailsWhereItWouldSign) {
  const LogCapture log;
  const vector<pair<Alg, Alg>> mismatches{
      {RS256, ES256}, {ES256, RS256}, {ES256, ES384}, {ES384, ES512}, {ES512, ES256}};
  for (const auto& [keyOf, alg] : mismatches) {
    qxVariantMapImpl claims = ParseMap(R"({"exp":1700000600,"iat":1700000000})");
    EXPECT_TRUE(IsSigningRefused(claims, *GetKeyFor(keyOf), alg)) << AlgToString(keyOf) << AlgToString(alg);
    EXPECT_TRUE(claims.contains("nbf"));
  }
  EXPECT_TRUE(log.getLines().empty());
}

TEST(CreateJwtTest, AKeyThatOnlyClaimsToSignFailsWhereItWouldSign) {
  const LogCapture log;
  RSAKey key(qx::test::GetRsaPem(2048).publicKey);
  key.capabilities |= AsymmetricKey::AC_Sign;
  qxVariantMapImpl claims = ParseMap(R"({"exp":1700000600,"iat":1700000000})");
  EXPECT_TRUE(IsSigningRefused(claims, key, RS256));
  EXPECT_TRUE(claims.contains("nbf"));
  EXPECT_TRUE(log.getLines().empty());
}

TEST(CreateJwtTest, FlagsRepeatClaimsInTheHeader) {
  const qxVariantMapImpl claims =
      ParseMap(R"({"aud":["a","b"],"exp":1700000600,"iat":1700000000,"iss":"me","jti":"j","sub":{"n":1}})");
  const auto header = [&claims](int flags) { return ReadHeader(CreateHashed(claims, HS256, flags)); };
  EXPECT_EQ(header(0), ParseMap(R"({"alg":"HS256","typ":"JWT"})"));
  EXPECT_EQ(header(HF_Issuer), ParseMap(R"({"alg":"HS256","iss":"me","typ":"JWT"})"));
  EXPECT_EQ(header(HF_Subject), ParseMap(R"({"alg":"HS256","sub":{"n":1},"typ":"JWT"})"));
  EXPECT_EQ(header(HF_Audience), ParseMap(R"({"alg":"HS256","aud":["a","b"],"typ":"JWT"})"));
  EXPECT_EQ(header(7), ParseMap(R"({"alg":"HS256","aud":["a","b"],"iss":"me","sub":{"n":1},"typ":"JWT"})"));
  EXPECT_EQ(header(~7), ParseMap(R"({"alg":"HS256","typ":"JWT"})"));
}

TEST(CreateJwtTest, FlagsOfMissingClaimsAddNothing) {
  EXPECT_EQ(ReadHeader(CreateHashed(MakeClaims(), HS256, 7)), ParseMap(R"({"alg":"HS256","typ":"JWT"})"));
}

TEST(CreateJwtTest, ASuccessLogsNothing) {
  const LogCapture log;
  CreateHashed(MakeClaims());
  EXPECT_TRUE(log.getLines().empty());
}

TEST(CreateJwtTest, AnOldTokenIsReplaced) {
  qxVariantMapImpl claims = MakeClaims();
  string token = kUntouched;
  ASSERT_TRUE(CreateHashedJwt(claims, kSecret, HS256, token, 0));
  EXPECT_EQ(token, CreateHashed(MakeClaims()));
}

TEST(CreateJwtTest, TheSecretMayBeTheTextThatBecomesTheToken) {
  qxVariantMapImpl claims = MakeClaims();
  string both = kSecret;
  ASSERT_TRUE(CreateHashedJwt(claims, both, HS256, both, 0));
  EXPECT_EQ(both, CreateHashed(MakeClaims()));
}

TEST(CreateJwtTest, ASecretMayHoldAnyBytes) {
  const string secret("a\0b", 3);
  qxVariantMapImpl claims = MakeClaims();
  string token;
  ASSERT_TRUE(CreateHashedJwt(claims, secret, HS256, token, 0));
  EXPECT_EQ(token, MakeMacToken(kHs256Header, R"({"exp":1700000600,"iat":1700000000,"nbf":1700000000})", secret));
}

}  // namespace
}  // namespace qx::jwt
