#include "netweft/jwt/Verifier.h"

#include "netweft/jwt/CreateJwt.h"
#include "tests/jwt/TokenSupport.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <thread>

namespace qx::jwt {
namespace {

using namespace test;
using qx::test::LogCapture;
using qx::test::Warning;

string MakeGoodToken() { return MakeMacToken(kHs256Header, kClaims); }

Verifier::RejectCause GetTypeCause(const string& type) {
  return GetMacCause(MakeMacToken(R"({"alg":"HS256","typ":)" + type + "}", kClaims));
}

TEST(VerifierTest, EveryAlgorithmsTokenIsAccepted) {
  for (const Alg alg : kHmacAlgs) {
    Verifier verifier;
    verifier.setClientInfo(kSecret, nullptr, alg, false);
    const Verdict verdict = Check(verifier, MakeMacToken(MakeHeader(alg), kClaims, kSecret, GetHashOf(alg)));
    EXPECT_TRUE(verdict.accepted) << AlgToString(alg);
    EXPECT_EQ(verdict.claims, ParseMap(kClaims));
  }
  for (const Alg alg : kAsymmetricAlgs) {
    OneKeyProvider provider(GetKeyFor(alg));
    Verifier verifier;
    verifier.setClientInfo({}, &provider, alg, false);
    const Verdict verdict = Check(verifier, MakeSignedToken(MakeHeader(alg), kClaims, *provider.key, GetHashOf(alg)));
    EXPECT_TRUE(verdict.accepted) << AlgToString(alg);
    EXPECT_EQ(verdict.claims, ParseMap(kClaims));
    EXPECT_EQ(provider.askedKid, "k");
    EXPECT_EQ(provider.askedAlg, alg);
  }
}

TEST(VerifierTest, WhatIsCreatedHereIsAcceptedHere) {
  OneKeyProvider provider(GetKeyFor(ES256));
  Verifier verifier;
  verifier.setClientInfo(kSecret, &provider, HS512 | ES256, false);
  qxVariantMapImpl claims;
  claims["exp"] = NowSec() + 3600;
  string hashed;
  string digitallySigned;
  ASSERT_TRUE(CreateHashedJwt(claims, kSecret, HS512, hashed, 7));
  ASSERT_TRUE(CreateSignedJwt(claims, *provider.key, ES256, digitallySigned, 7));
  for (const string& token : {hashed, digitallySigned}) {
    qxVariantMapImpl read;
    EXPECT_TRUE(verifier.validateJwt(token, read, nullptr));
    EXPECT_EQ(read, claims);
    EXPECT_TRUE(verifier.validateJwt(token.data(), token.size(), read, nullptr));
  }
}

TEST(VerifierTest, TheClockIsTheTimeBaseOfThePlainForms) {
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, HS256, false);
  const string token = MakeGoodToken();
  for (const bool slice : {false, true}) {
    qxVariantMapImpl claims;
    Verifier::RejectCause cause = Verifier::RC_None;
    EXPECT_FALSE(slice ? verifier.validateJwt(token.data(), token.size(), claims, &cause)
                       : verifier.validateJwt(token, claims, &cause));
    EXPECT_EQ(cause, Verifier::RC_Expired);
  }
}

TEST(VerifierTest, AFreshVerifierSupportsNothing) {
  const Verifier verifier;
  EXPECT_EQ(GetCause(verifier, MakeGoodToken()), Verifier::RC_UnsupportedAlg);
  EXPECT_EQ(GetCause(verifier, MakeToken(MakeHeader(RS256), kClaims, "s")), Verifier::RC_UnsupportedAlg);
  EXPECT_EQ(GetCause(verifier, MakeToken("{}", kClaims, "s")), Verifier::RC_UnsupportedAlg);
  EXPECT_EQ(GetCause(verifier, "nothing"), Verifier::RC_Malformed);
}

TEST(VerifierTest, AClearedVerifierSupportsNothing) {
  OneKeyProvider provider(GetKeyFor(RS256));
  Verifier verifier;
  verifier.setClientInfo(kSecret, &provider, HS256 | RS256, true);
  verifier.clearClientInfo();
  EXPECT_EQ(GetCause(verifier, MakeGoodToken()), Verifier::RC_UnsupportedAlg);
}

TEST(VerifierTest, NewInfoLeavesNothingOfTheOld) {
  OneKeyProvider provider(GetKeyFor(RS256));
  Verifier verifier;
  verifier.setClientInfo(kSecret, &provider, HS256 | RS256, true);
  verifier.setClientInfo({}, nullptr, HS256 | RS256, false);
  EXPECT_EQ(GetCause(verifier, MakeGoodToken()), Verifier::RC_Uninitialized);
  EXPECT_EQ(GetCause(verifier, MakeToken(MakeHeader(RS256), kClaims, "s")), Verifier::RC_Uninitialized);
  verifier.setClientInfo(kSecret, nullptr, HS256, false);
  EXPECT_EQ(GetCause(verifier, MakeMacToken(kHs256Header, "{}")), Verifier::RC_Expired);
}

TEST(VerifierTest, AnyTypeButJwtIsMalformedEvenIfTheSignatureHolds) {
  for (const char* type : {"\"JWS\"", "\"JWT \"", "\"at+jwt\"", "1", "null", "true", "{}", "\"JWT\\u0000\""}) {
    EXPECT_EQ(GetTypeCause(type), Verifier::RC_Malformed) << type;
  }
}

TEST(VerifierTest, TheTypeMayHaveAnyLetterCaseOrBeMissing) {
  for (const char* type : {"\"JWT\"", "\"jwt\"", "\"jWt\"", "\"\""}) {
    EXPECT_EQ(GetTypeCause(type), Verifier::RC_None) << type;
  }
  EXPECT_EQ(GetMacCause(MakeMacToken(R"({"alg":"HS256"})", kClaims)), Verifier::RC_None);
}

TEST(VerifierTest, AnUnknownAlgorithmIsUnsupportedUnderAnyMask) {
  OneKeyProvider provider(GetKeyFor(RS256));
  for (const int mask : {0, sHmacAlgs | sAsymmetricAlgs, -1}) {
    Verifier verifier;
    verifier.setClientInfo(kSecret, &provider, mask, false);
    for (const char* header : {"{}", R"({"alg":""})", R"({"alg":"XS256"})", R"({"alg":"PS256"})", R"({"alg":16})",
                               R"({"alg":null})", R"({"alg":["HS256"]})"}) {
      EXPECT_EQ(GetCause(verifier, MakeMacToken(header, kClaims)), Verifier::RC_UnsupportedAlg) << header;
    }
  }
  EXPECT_EQ(provider.asked, 0);
}

TEST(VerifierTest, AnAlgorithmsNameMayHaveAnyLetterCase) {
  EXPECT_EQ(GetMacCause(MakeMacToken(R"({"alg":"hs256"})", kClaims)), Verifier::RC_None);
}

TEST(VerifierTest, TheMaskIsAskedBeforeTheSecret) {
  OneKeyProvider provider(GetKeyFor(RS256));
  Verifier verifier;
  verifier.setClientInfo(kSecret, &provider, RS256, false);
  EXPECT_EQ(GetCause(verifier, MakeGoodToken()), Verifier::RC_UnsupportedAlg);
  EXPECT_EQ(provider.asked, 0);
}

TEST(VerifierTest, WithoutASecretHmacIsUninitialized) {
  OneKeyProvider provider(GetKeyFor(RS256));
  Verifier verifier;
  verifier.setClientInfo({}, &provider, HS256, false);
  EXPECT_EQ(GetCause(verifier, MakeGoodToken()), Verifier::RC_Uninitialized);
}

TEST(VerifierTest, WithoutAProviderSignedTokensAreUninitialized) {
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, RS256, false);
  EXPECT_EQ(GetCause(verifier, MakeToken(MakeHeader(RS256), kClaims, "s")), Verifier::RC_Uninitialized);
}

TEST(VerifierTest, AnotherSecretDoesNotMatch) {
  EXPECT_EQ(GetMacCause(MakeMacToken(kHs256Header, kClaims, "another")), Verifier::RC_SignatureMismatch);
}

TEST(VerifierTest, AChangedPayloadDoesNotMatch) {
  const string token = MakeSignedToken(MakeHeader(ES256), kClaims, *GetKeyFor(ES256));
  const string later = R"({"exp":1700000601,"iat":1700000000})";
  const string changed = MakeText(MakeHeader(ES256), later) + "." + GetSignature(token);
  EXPECT_EQ(GetSignedCause(token, ES256), Verifier::RC_None);
  EXPECT_EQ(GetSignedCause(changed, ES256), Verifier::RC_SignatureMismatch);
}

TEST(VerifierTest, AMissingKeyIsAnInternalErrorWithTheProvidersReasonInTheLog) {
  const LogCapture log;
  OneKeyProvider provider(nullptr);
  Verifier verifier;
  verifier.setClientInfo(kSecret, &provider, RS256, false);
  const Verdict verdict = Check(verifier, MakeToken(MakeHeader(RS256), kClaims, "s"));
  EXPECT_EQ(verdict.cause, Verifier::RC_InternalError);
  EXPECT_TRUE(verdict.claimsAreUntouched());
  ASSERT_EQ(log.getLines().size(), 1U);
  EXPECT_EQ(log.getLines()[0], Warning("no such key"));
}

TEST(VerifierTest, ATokenWithoutAKeyIdentifierAsksForTheEmptyOne) {
  OneKeyProvider provider(nullptr);
  provider.askedKid = "before";
  Verifier verifier;
  verifier.setClientInfo({}, &provider, RS256, false);
  GetCause(verifier, MakeToken(R"({"alg":"RS256"})", kClaims, "s"));
  EXPECT_EQ(provider.asked, 1);
  EXPECT_EQ(provider.askedKid, "");
}

TEST(VerifierTest, AKeyWithAnErrorIsAnInternalError) {
  OneKeyProvider provider(std::make_shared<RSAKey>(bytes{1}, bytes{1}));
  Verifier verifier;
  verifier.setClientInfo({}, &provider, RS256, false);
  EXPECT_EQ(GetCause(verifier, MakeSignedToken(MakeHeader(RS256), kClaims, *GetKeyFor(RS256))),
            Verifier::RC_InternalError);
}

TEST(VerifierTest, NothingButAMissingKeyIsLogged) {
  const LogCapture log;
  OneKeyProvider provider(GetKeyFor(RS256));
  Verifier verifier;
  verifier.setClientInfo(kSecret, &provider, HS256 | RS256 | ES256, false);
  for (const string& token :
       {MakeGoodToken(), string("nothing"), MakeToken("{}", kClaims, "s"), MakeMacToken(kHs256Header, kClaims, "other"),
        MakeToken(MakeHeader(RS256), kClaims, "s"), MakeToken(MakeHeader(ES256), kClaims, "s"),
        MakeText(MakeHeader(RS256), kClaims) + ".=", MakeMacToken(kHs256Header, "{}")}) {
    GetCause(verifier, token);
  }
  EXPECT_TRUE(log.getLines().empty());
}

TEST(VerifierTest, ARejectionBeforeTheSignatureHeldLeavesTheClaims) {
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, HS256, false);
  for (const string& token : {string("nothing"), MakeToken("{}", kClaims, "s"), MakeGoodToken() + "x",
                              MakeMacToken(R"({"alg":"HS256","typ":"JWS"})", kClaims)}) {
    EXPECT_TRUE(Check(verifier, token).claimsAreUntouched()) << token;
  }
}

TEST(VerifierTest, AnExpiredTokenStillHandsOutItsClaims) {
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, HS256, false);
  const Verdict verdict = Check(verifier, MakeGoodToken(), kNow + 10'000);
  EXPECT_EQ(verdict.cause, Verifier::RC_Expired);
  EXPECT_EQ(verdict.claims, ParseMap(kClaims));
}

TEST(VerifierTest, WithoutTimeChecksAnExpiredTokenIsAccepted) {
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, HS256, true);
  const Verdict expired = Check(verifier, MakeGoodToken(), kNow + 10'000);
  EXPECT_TRUE(expired.accepted);
  EXPECT_EQ(expired.claims, ParseMap(kClaims));
  EXPECT_TRUE(Check(verifier, MakeMacToken(kHs256Header, R"({"nbf":"text"})")).accepted);
}

TEST(VerifierTest, TheCauseMayBeNull) {
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, HS256, false);
  qxVariantMapImpl claims;
  EXPECT_TRUE(verifier.validateJwtWithTimeBase(MakeGoodToken(), claims, kNow, nullptr));
  EXPECT_FALSE(verifier.validateJwtWithTimeBase("nothing", claims, kNow, nullptr));
}

TEST(VerifierTest, OnlyThreeCausesAreOfTime) {
  for (int cause = 0; cause < 10; ++cause) {
    EXPECT_EQ(Verifier::IsTimeError(static_cast<Verifier::RejectCause>(cause)), cause >= 6 && cause <= 8) << cause;
  }
}

TEST(VerifierTest, EachCauseHasItsText) {
  const vector<string> texts{"jwt unknown error",
                             "Malformed jwt",
                             "Unsupported jwt alg",
                             "Uninitialized jwt decoder",
                             "jwt signature missmatch",
                             "jwt verifier internal error",
                             "jwt has expired",
                             "jwt issue date is in the future",
                             "jwt is issued for a future use",
                             "jwt unknown error"};
  for (size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(Verifier::RejectCauseToString(static_cast<Verifier::RejectCause>(i)), texts[i]);
  }
  EXPECT_EQ(Verifier::RejectCauseToString(static_cast<Verifier::RejectCause>(-1)), "jwt unknown error");
}

TEST(VerifierTest, OneVerifierServesEightThreads) {
  class SharedKey final : public KeyProvider {
   public:
    shared_ptr<AsymmetricKey> getKeyFromId(const string&, Alg, string*) override { return key; }
    shared_ptr<AsymmetricKey> key = GetKeyFor(ES256);
  } provider;
  Verifier verifier;
  verifier.setClientInfo(kSecret, &provider, HS256 | ES256, false);
  const string hashed = MakeGoodToken();
  const string digitallySigned = MakeSignedToken(MakeHeader(ES256), kClaims, *provider.key);
  vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(GetCause(verifier, hashed), Verifier::RC_None);
        EXPECT_EQ(GetCause(verifier, digitallySigned), Verifier::RC_None);
        EXPECT_EQ(GetCause(verifier, GetText(hashed) + "." + GetSignature(digitallySigned)),
                  Verifier::RC_SignatureMismatch);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace qx::jwt
