#include "tests/jwt/TokenSupport.h"

#include <gtest/gtest.h>

#include <limits>

/// "exp", "iat" and "nbf": their bounds, and what counts as a time.
namespace qx::jwt {
namespace {

using namespace test;

constexpr int64 kMax = std::numeric_limits<int64>::max();
constexpr int64 kMin = std::numeric_limits<int64>::min();

Verifier::RejectCause GetClaimsCause(const string& claims, int64 now = kNow) {
  return GetMacCause(MakeMacToken(kHs256Header, claims), now);
}

/// Claims that are good but for the one whose JSON text is given.
Verifier::RejectCause WithExp(const string& exp, int64 now = kNow) {
  return GetClaimsCause(R"({"exp":)" + exp + R"(,"iat":1700000000})", now);
}
Verifier::RejectCause WithIat(const string& iat, int64 now = kNow) {
  return GetClaimsCause(R"({"exp":1700000600,"iat":)" + iat + "}", now);
}
Verifier::RejectCause WithNbf(const string& nbf, int64 now = kNow) {
  return GetClaimsCause(R"({"exp":1700000600,"iat":1700000000,"nbf":)" + nbf + "}", now);
}

TEST(VerifierTimesTest, AnEndIsGoodForTwoMinutesMore) {
  EXPECT_EQ(WithExp("1699999881"), Verifier::RC_None);
  EXPECT_EQ(WithExp("1699999880"), Verifier::RC_None);
  EXPECT_EQ(WithExp("1699999879"), Verifier::RC_Expired);
}

TEST(VerifierTimesTest, AnIssueTimeIsGoodTwoMinutesAhead) {
  EXPECT_EQ(WithIat("1700000119"), Verifier::RC_None);
  EXPECT_EQ(WithIat("1700000120"), Verifier::RC_None);
  EXPECT_EQ(WithIat("1700000121"), Verifier::RC_IssuedInFuture);
}

TEST(VerifierTimesTest, ANotBeforeIsGoodTwoMinutesAhead) {
  EXPECT_EQ(WithNbf("1700000119"), Verifier::RC_None);
  EXPECT_EQ(WithNbf("1700000120"), Verifier::RC_None);
  EXPECT_EQ(WithNbf("1700000121"), Verifier::RC_NotYetValid);
}

TEST(VerifierTimesTest, AMissingEndHasExpired) {
  EXPECT_EQ(GetClaimsCause(R"({"iat":1700000000})"), Verifier::RC_Expired);
}

TEST(VerifierTimesTest, AMissingIssueTimeLiesInTheFuture) {
  EXPECT_EQ(GetClaimsCause(R"({"exp":1700000600})"), Verifier::RC_IssuedInFuture);
}

TEST(VerifierTimesTest, AMissingNotBeforeIsGood) { EXPECT_EQ(GetClaimsCause(kClaims), Verifier::RC_None); }

TEST(VerifierTimesTest, TimesUnderOneAreNone) {
  for (const char* time : {"0", "-1", "-9223372036854775808"}) {
    EXPECT_EQ(WithExp(time, 50), Verifier::RC_Expired) << time;
    EXPECT_EQ(WithIat(time), Verifier::RC_IssuedInFuture) << time;
  }
  EXPECT_EQ(WithNbf("0"), Verifier::RC_None);
  EXPECT_EQ(WithNbf("-9223372036854775808"), Verifier::RC_None);
}

TEST(VerifierTimesTest, AHugeEndIsGood) {
  EXPECT_EQ(WithExp("9223372036854775807"), Verifier::RC_None);
  EXPECT_EQ(WithExp("9223372036854775808"), Verifier::RC_None);
  EXPECT_EQ(WithExp("1e300"), Verifier::RC_None);
}

TEST(VerifierTimesTest, AHugeIssueTimeLiesInTheFuture) {
  EXPECT_EQ(WithIat("9223372036854775807"), Verifier::RC_IssuedInFuture);
  EXPECT_EQ(WithIat("9223372036854775808"), Verifier::RC_IssuedInFuture);
}

TEST(VerifierTimesTest, AnEndOfAnotherKindIsReadAsAnInteger) {
  for (const char* good : {"\"1700000600\"", "1700000600.9", "1.7000006e9", "\" 1700000600 \""}) {
    EXPECT_EQ(WithExp(good), Verifier::RC_None) << good;
  }
  for (const char* bad : {"null", "true", "\"soon\"", "\"\"", "\"1700000600s\"", "[1700000600]", "{}",
                          "\"9223372036854775808\"", "-1e300"}) {
    EXPECT_EQ(WithExp(bad), Verifier::RC_Expired) << bad;
  }
}

TEST(VerifierTimesTest, ATextIsAnEndAndNoNotBefore) {
  EXPECT_EQ(WithExp("\"123\"", 100), Verifier::RC_IssuedInFuture);
  EXPECT_EQ(WithExp("\"123\"", 500), Verifier::RC_Expired);
  EXPECT_EQ(WithNbf("\"123\""), Verifier::RC_Malformed);
}

TEST(VerifierTimesTest, AnIssueTimeOfAnotherKindIsReadAsAnInteger) {
  for (const char* good : {"\"1700000000\"", "1700000000.5", "true"}) {
    EXPECT_EQ(WithIat(good), Verifier::RC_None) << good;
  }
  for (const char* bad : {"null", "false", "\"now\"", "[]", "{}"}) {
    EXPECT_EQ(WithIat(bad), Verifier::RC_IssuedInFuture) << bad;
  }
}

TEST(VerifierTimesTest, ANotBeforeThatIsNoIntegerIsMalformed) {
  for (const char* bad : {"\"1\"", "1.0", "1.5", "9223372036854775808", "1e3", "null", "true", "[]", "{}"}) {
    EXPECT_EQ(WithNbf(bad), Verifier::RC_Malformed) << bad;
  }
}

TEST(VerifierTimesTest, AMalformedNotBeforeHandsOutTheClaims) {
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, HS256, false);
  const string claims = R"({"exp":1700000600,"iat":1700000000,"nbf":"1"})";
  EXPECT_EQ(Check(verifier, MakeMacToken(kHs256Header, claims)).claims, ParseMap(claims));
}

TEST(VerifierTimesTest, AtTheBeginningOfTimeOnlyTheFirstTwoMinutesAreIssued) {
  for (const auto& [iat, cause] : vector<pair<string, Verifier::RejectCause>>{{"0", Verifier::RC_IssuedInFuture},
                                                                              {"1", Verifier::RC_None},
                                                                              {"120", Verifier::RC_None},
                                                                              {"121", Verifier::RC_IssuedInFuture}}) {
    EXPECT_EQ(WithIat(iat, 0), cause) << iat;
  }
}

TEST(VerifierTimesTest, ATimeBaseAtTheEndsOfItsRangeSaturates) {
  const string latest = R"({"exp":9223372036854775807,"iat":9223372036854775807,"nbf":9223372036854775807})";
  EXPECT_EQ(GetClaimsCause(latest, kMax), Verifier::RC_None);
  EXPECT_EQ(GetClaimsCause(latest, kMax - 120), Verifier::RC_None);
  EXPECT_EQ(GetClaimsCause(latest, kMax - 121), Verifier::RC_IssuedInFuture);
  EXPECT_EQ(GetClaimsCause(kClaims, kMin), Verifier::RC_IssuedInFuture);
  EXPECT_EQ(GetClaimsCause(kClaims, kMax), Verifier::RC_Expired);
}

TEST(VerifierTimesTest, OfTwoFaultsTheFirstInOrderIsTheCause) {
  EXPECT_EQ(GetClaimsCause(R"({"exp":1,"iat":1800000000})"), Verifier::RC_Expired);
  EXPECT_EQ(GetClaimsCause(R"({"exp":1,"iat":1,"nbf":"x"})"), Verifier::RC_Expired);
  EXPECT_EQ(GetClaimsCause(R"({"exp":1800000000,"iat":1800000000,"nbf":"x"})"), Verifier::RC_IssuedInFuture);
  EXPECT_EQ(GetClaimsCause(R"({"exp":1800000000,"iat":1800000000,"nbf":1800000000})"), Verifier::RC_IssuedInFuture);
}

}  // namespace
}  // namespace qx::jwt
