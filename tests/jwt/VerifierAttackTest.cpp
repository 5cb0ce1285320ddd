#include "netweft/base/crypto/Base64.h"
#include "netweft/base/crypto/internal/EcdsaSignatureForm.h"
#include "netweft/base/system/qxStringUtils.h"
#include "tests/base/PemKeys.h"
#include "tests/jwt/TokenSupport.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

/// Attacks on the algorithm, the key and the signature, and of two faults the one that is the cause.
namespace qx::jwt {
namespace {

using namespace test;
using qx::test::LogCapture;

constexpr int kAll = sHmacAlgs | sAsymmetricAlgs;

struct World {
  OneKeyProvider provider;
  Verifier verifier;

  World(const string& secret, shared_ptr<AsymmetricKey> key, int mask) : provider(std::move(key)) {
    verifier.setClientInfo(secret, &provider, mask, false);
  }
  Verifier::RejectCause cause(const string& token) const { return GetCause(verifier, token); }
};

/// The DER bytes of a PEM text.
string FromPem(const string& pem) {
  string base64;
  for (const string& line : qxStringUtils::Split(pem, '\n', false)) {
    if (!qxStringUtils::StartsWith(line, "-----")) base64 += line;
  }
  bytes der;
  EXPECT_TRUE(base64Decode(base64, der, B64_Standard));
  return {der.begin(), der.end()};
}

/// Raw, of the very claims and header that the tests use with that algorithm.
string MakeGoodSignature(Alg alg) {
  return FromUrlSafe(GetSignature(MakeSignedToken(MakeHeader(alg), kClaims, *GetKeyFor(alg), GetHashOf(alg))));
}

TEST(VerifierAttackTest, NoneIsUnsupportedInEveryLetterCase) {
  const World world(kSecret, GetKeyFor(RS256), kAll);
  const World everything(kSecret, GetKeyFor(RS256), -1);
  for (unsigned int bits = 0; bits < 16; ++bits) {
    string none = "none";
    for (unsigned int i = 0; i < 4; ++i) {
      if ((bits >> i & 1) != 0) none[i] = static_cast<char>(none[i] - 'a' + 'A');
    }
    const string header = R"({"alg":")" + none + R"(","typ":"JWT"})";
    EXPECT_EQ(world.cause(MakeToken(header, kClaims, "")), Verifier::RC_UnsupportedAlg) << none;
    EXPECT_EQ(everything.cause(MakeToken(header, kClaims, "")), Verifier::RC_UnsupportedAlg) << none;
    EXPECT_EQ(world.cause(MakeMacToken(header, kClaims)), Verifier::RC_UnsupportedAlg) << none;
  }
}

TEST(VerifierAttackTest, APublicKeysTextIsNoSecretUnlessTheHostSaysSo) {
  const string pem = qx::test::GetRsaPem(2048).publicKey;
  for (const string& known : {pem, FromPem(pem)}) {
    const string token = MakeMacToken(kHs256Header, kClaims, known);
    EXPECT_EQ(World({}, GetKeyFor(RS256), RS256).cause(token), Verifier::RC_UnsupportedAlg);
    EXPECT_EQ(World({}, GetKeyFor(RS256), RS256 | HS256).cause(token), Verifier::RC_Uninitialized);
    EXPECT_EQ(World(kSecret, GetKeyFor(RS256), RS256 | HS256).cause(token), Verifier::RC_SignatureMismatch);
    EXPECT_EQ(World(known, GetKeyFor(RS256), RS256 | HS256).cause(token), Verifier::RC_None);
  }
}

TEST(VerifierAttackTest, NoKeyIsAskedForByAnHmacToken) {
  const World world(kSecret, GetKeyFor(RS256), kAll);
  world.cause(MakeMacToken(R"({"alg":"HS256","kid":"k"})", kClaims));
  EXPECT_EQ(world.provider.asked, 0);
}

TEST(VerifierAttackTest, AnotherAlgorithmOfTheFamilyDoesNotMatch) {
  const World world(kSecret, GetKeyFor(RS256), kAll);
  EXPECT_EQ(world.cause(MakeMacToken(MakeHeader(HS512), kClaims)), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(world.cause(MakeMacToken(MakeHeader(HS256), kClaims, kSecret, HT_Sha512)), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(world.cause(MakeSignedToken(MakeHeader(RS384), kClaims, *GetKeyFor(RS256))),
            Verifier::RC_SignatureMismatch);
  EXPECT_EQ(world.cause(MakeSignedToken(MakeHeader(RS512), kClaims, *GetKeyFor(RS256), HT_Sha384)),
            Verifier::RC_SignatureMismatch);
}

TEST(VerifierAttackTest, ACurveAlgorithmOnAnotherCurveIsAnInternalError) {
  for (const Alg keyOf : {ES256, ES384, ES512}) {
    for (const Alg alg : {ES256, ES384, ES512}) {
      const World world({}, GetKeyFor(keyOf), kAll);
      // Signed by that very key with that very digest: it is the curve alone that is wrong.
      EXPECT_EQ(world.cause(MakeSignedToken(MakeHeader(alg), kClaims, *GetKeyFor(keyOf), GetHashOf(alg))),
                keyOf == alg ? Verifier::RC_None : Verifier::RC_InternalError)
          << AlgToString(keyOf) << AlgToString(alg);
    }
  }
}

TEST(VerifierAttackTest, AKeyOfAnotherKindIsAnInternalErrorBeforeTheSignatureIsLookedAt) {
  for (const Alg alg : {RS256, RS384, RS512}) {
    const World world({}, GetKeyFor(ES256), kAll);
    for (const string& signature : {string(), string(1, 'x'), string(64, 'x'), string(256, 'x')}) {
      EXPECT_EQ(world.cause(MakeToken(MakeHeader(alg), kClaims, signature)), Verifier::RC_InternalError);
    }
  }
  for (const Alg alg : {ES256, ES384, ES512}) {
    const World world({}, GetKeyFor(RS256), kAll);
    EXPECT_EQ(world.cause(MakeSignedToken(MakeHeader(alg), kClaims, *GetKeyFor(RS256), GetHashOf(alg))),
              Verifier::RC_InternalError);
    EXPECT_EQ(world.cause(MakeToken(MakeHeader(alg), kClaims, "")), Verifier::RC_InternalError);
  }
}

TEST(VerifierAttackTest, AnAlgorithmOfAnotherFamilyDoesNotMatch) {
  const World world(kSecret, GetKeyFor(RS256), kAll);
  const string mac = FromUrlSafe(GetSignature(MakeMacToken(MakeHeader(RS256), kClaims)));
  EXPECT_EQ(world.cause(MakeToken(MakeHeader(RS256), kClaims, mac)), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(world.cause(MakeSignedToken(MakeHeader(HS256), kClaims, *GetKeyFor(RS256))),
            Verifier::RC_SignatureMismatch);
}

TEST(VerifierAttackTest, CurveSignaturesOutOfRangeDoNotMatch) {
  for (const auto& [alg, half] : vector<pair<Alg, size_t>>{{ES256, 32}, {ES384, 48}, {ES512, 66}}) {
    const string good = MakeGoodSignature(alg);
    const string r = good.substr(0, half);
    const string s = good.substr(half);
    const string zero(half, '\0');
    const string most(half, '\xFF');
    for (const string& signature : {zero + zero, zero + s, r + zero, most + most, most + s, r + most}) {
      EXPECT_EQ(GetSignedCause(MakeToken(MakeHeader(alg), kClaims, signature), alg), Verifier::RC_SignatureMismatch)
          << AlgToString(alg);
    }
  }
}

TEST(VerifierAttackTest, CurveSignaturesOfAnotherLengthOrFormDoNotMatch) {
  for (const auto& [alg, half] : vector<pair<Alg, size_t>>{{ES256, 32}, {ES384, 48}, {ES512, 66}}) {
    const string good = MakeGoodSignature(alg);
    bytes der;
    ASSERT_TRUE(qx::impl::EcdsaRawToDer(good.data(), half, der));
    const string zero(1, '\0');
    for (const string& signature :
         {good.substr(1), good.substr(0, good.size() - 1), good.substr(0, half), good + zero, zero + good,
          zero + good.substr(0, half) + zero + good.substr(half), good + good, string(der.begin(), der.end())}) {
      EXPECT_EQ(GetSignedCause(MakeToken(MakeHeader(alg), kClaims, signature), alg), Verifier::RC_SignatureMismatch)
          << AlgToString(alg) << signature.size();
    }
    EXPECT_EQ(GetSignedCause(MakeToken(MakeHeader(alg), kClaims, good), alg), Verifier::RC_None);
  }
}

TEST(VerifierAttackTest, RsaSignaturesOfAnotherLengthDoNotMatch) {
  const string good = MakeGoodSignature(RS256);
  const string zero(1, '\0');
  for (const string& signature : {good.substr(1), good.substr(0, 255), zero + good, good + zero, string(256, '\0'),
                                  string(255, '\0') + "\1", string(256, '\xFF')}) {
    EXPECT_EQ(GetSignedCause(MakeToken(MakeHeader(RS256), kClaims, signature), RS256), Verifier::RC_SignatureMismatch);
  }
}

TEST(VerifierAttackTest, EveryChangedCharacterIsRejected) {
  const string token = MakeMacToken(kHs256Header, kClaims);
  for (size_t i = 0; i < token.size(); ++i) {
    string changed = token;
    changed[i] = changed[i] == 'A' ? 'B' : 'A';
    EXPECT_NE(GetMacCause(changed), Verifier::RC_None) << i;
  }
}

// Of two faults at once, for each pair of neighbours in the order of the checks.

TEST(VerifierAttackTest, AMalformedPayloadComesBeforeTheType) {
  EXPECT_EQ(World(kSecret, nullptr, kAll).cause(MakeMacToken(R"({"alg":"HS256","typ":"JWS"})", "[]")),
            Verifier::RC_Malformed);
}

TEST(VerifierAttackTest, TheTypeComesBeforeTheAlgorithm) {
  EXPECT_EQ(World(kSecret, nullptr, kAll).cause(MakeMacToken(R"({"alg":"none","typ":"JWS"})", kClaims)),
            Verifier::RC_Malformed);
}

TEST(VerifierAttackTest, TheMaskComesBeforeAMissingSecretOrProvider) {
  Verifier verifier;
  verifier.setClientInfo({}, nullptr, HS384 | RS384, false);
  EXPECT_EQ(GetCause(verifier, MakeMacToken(kHs256Header, kClaims)), Verifier::RC_UnsupportedAlg);
  EXPECT_EQ(GetCause(verifier, MakeToken(MakeHeader(RS256), kClaims, "s")), Verifier::RC_UnsupportedAlg);
}

TEST(VerifierAttackTest, AMissingSecretComesBeforeTheSignature) {
  EXPECT_EQ(World({}, nullptr, kAll).cause(MakeToken(kHs256Header, kClaims, "")), Verifier::RC_Uninitialized);
}

TEST(VerifierAttackTest, AMissingProviderComesBeforeTheSignature) {
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, kAll, false);
  EXPECT_EQ(GetCause(verifier, MakeText(MakeHeader(RS256), kClaims) + ".="), Verifier::RC_Uninitialized);
}

TEST(VerifierAttackTest, AMissingKeyComesBeforeTheSignaturesBase64) {
  const LogCapture log;
  EXPECT_EQ(World({}, nullptr, kAll).cause(MakeText(MakeHeader(RS256), kClaims) + ".="), Verifier::RC_InternalError);
  EXPECT_EQ(log.getLines().size(), 1U);
}

TEST(VerifierAttackTest, TheSignaturesBase64ComesBeforeItsLength) {
  EXPECT_EQ(GetSignedCause(MakeText(MakeHeader(RS256), kClaims) + ".=", RS256), Verifier::RC_InternalError);
}

TEST(VerifierAttackTest, TheKeysKindComesBeforeTheSignaturesMismatch) {
  EXPECT_EQ(World({}, GetKeyFor(ES256), kAll).cause(MakeToken(MakeHeader(RS256), kClaims, string(256, 'x'))),
            Verifier::RC_InternalError);
}

TEST(VerifierAttackTest, TheSignatureComesBeforeTheTimes) {
  EXPECT_EQ(GetMacCause(MakeMacToken(kHs256Header, R"({"exp":1})", "another")), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(GetSignedCause(MakeToken(MakeHeader(RS256), R"({"exp":1})", string(256, 'x')), RS256),
            Verifier::RC_SignatureMismatch);
}

TEST(VerifierAttackTest, TheEndComesBeforeTheIssueTime) {
  EXPECT_EQ(GetMacCause(MakeMacToken(kHs256Header, R"({"exp":1,"iat":1800000000})")), Verifier::RC_Expired);
}

TEST(VerifierAttackTest, TheIssueTimeComesBeforeAMalformedNotBefore) {
  EXPECT_EQ(GetMacCause(MakeMacToken(kHs256Header, R"({"exp":1800000600,"iat":1800000000,"nbf":"x"})")),
            Verifier::RC_IssuedInFuture);
}

TEST(VerifierAttackTest, TheKindOfNotBeforeComesBeforeItsValue) {
  EXPECT_EQ(GetMacCause(MakeMacToken(kHs256Header, R"({"exp":1700000600,"iat":1700000000,"nbf":"1800000000"})")),
            Verifier::RC_Malformed);
}

}  // namespace
}  // namespace qx::jwt
