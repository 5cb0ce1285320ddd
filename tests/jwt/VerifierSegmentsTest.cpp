#include "tests/base/StderrCapture.h"
#include "tests/jwt/TokenSupport.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <functional>

/// Hostile tokens: segments that are missing, too many, empty, no base64, no JSON, or huge.
namespace qx::jwt {
namespace {

using namespace test;

const string kHeader64 = ToUrlSafe(kHs256Header);
const string kClaims64 = ToUrlSafe(kClaims);

string MakeGoodToken() { return MakeMacToken(kHs256Header, kClaims); }
string MakeGoodSigned() { return MakeSignedToken(MakeHeader(RS256), kClaims, *GetKeyFor(RS256)); }

/// Of a slice of a longer text, in a buffer of its own that ends where the slice ends.
Verifier::RejectCause GetSliceCause(const string& text, size_t size) {
  const vector<char> exact(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size));
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, HS256, false);
  qxVariantMapImpl claims;
  Verifier::RejectCause cause = Verifier::RC_None;
  const bool accepted = verifier.validateJwtWithTimeBase(exact.data(), exact.size(), claims, kNow, &cause);
  EXPECT_EQ(accepted, cause == Verifier::RC_None);
  return cause;
}

string Insert(string token, size_t position, char c) {
  token.insert(position, 1, c);
  return token;
}

TEST(VerifierSegmentsTest, FewerThanThreeSegmentsAreMalformed) {
  for (const string& token : {string(), kHeader64, kHeader64 + "." + kClaims64, string("."), string(".."),
                              string("..."), kHeader64 + ".", "." + kClaims64}) {
    EXPECT_EQ(GetMacCause(token), Verifier::RC_Malformed) << token;
  }
}

TEST(VerifierSegmentsTest, AnEmptyHeaderNamesNoAlgorithm) {
  EXPECT_EQ(GetMacCause("." + kClaims64 + ".c2ln"), Verifier::RC_UnsupportedAlg);
}

TEST(VerifierSegmentsTest, AnEmptyPayloadIsMalformed) {
  EXPECT_EQ(GetMacCause(kHeader64 + "..c2ln"), Verifier::RC_Malformed);
  EXPECT_EQ(GetMacCause(kHeader64 + ".."), Verifier::RC_Malformed);
}

TEST(VerifierSegmentsTest, AnEmptySignatureDoesNotMatch) {
  EXPECT_EQ(GetMacCause(GetText(MakeGoodToken()) + "."), Verifier::RC_SignatureMismatch);
  for (const Alg alg : kAsymmetricAlgs) {
    EXPECT_EQ(GetSignedCause(MakeText(MakeHeader(alg), kClaims) + ".", alg), Verifier::RC_SignatureMismatch);
  }
}

TEST(VerifierSegmentsTest, TwoDotsSideBySideDoNotEndTheMiddleSegment) {
  qxVariantMapImpl header;
  const string none = kHeader64 + "..c2ln";
  EXPECT_FALSE(Verifier::ExtractJwtContentNoValidation(none.data(), none.size(), header, nullptr));
  const string further = none + ".c2ln";
  EXPECT_TRUE(Verifier::ExtractJwtContentNoValidation(further.data(), further.size(), header, nullptr));
  EXPECT_EQ(header, ParseMap(kHs256Header));
  // The dot at its front is no base64.
  EXPECT_EQ(GetMacCause(further), Verifier::RC_Malformed);
  EXPECT_EQ(GetMacCause(kHeader64 + ".." + kClaims64 + ".c2ln"), Verifier::RC_Malformed);
}

TEST(VerifierSegmentsTest, FurtherSegmentsBelongToTheSignature) {
  string thousand = MakeGoodToken();
  for (int i = 0; i < 997; ++i) thousand += ".x";
  EXPECT_EQ(GetMacCause(MakeGoodToken() + "."), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(GetMacCause(MakeGoodToken() + ".x"), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(GetMacCause(thousand), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(GetSignedCause(MakeGoodSigned() + "." + kClaims64, RS256), Verifier::RC_InternalError);
}

TEST(VerifierSegmentsTest, ASliceNeedsNoTerminator) {
  const string token = MakeGoodToken();
  EXPECT_EQ(GetSliceCause(token, token.size()), Verifier::RC_None);
  EXPECT_EQ(GetSliceCause(token + ".behind", token.size()), Verifier::RC_None);
  for (size_t size = 0; size < token.size(); ++size) {
    EXPECT_EQ(GetSliceCause(token, size),
              size <= GetText(token).size() ? Verifier::RC_Malformed : Verifier::RC_SignatureMismatch);
  }
}

TEST(VerifierSegmentsTest, DotsBehindTheSliceAreNotSeen) {
  const string token = MakeGoodToken();
  qxVariantMapImpl header;
  EXPECT_FALSE(Verifier::ExtractJwtContentNoValidation(token.data(), GetText(token).size(), header, nullptr));
  EXPECT_FALSE(Verifier::ExtractJwtContentNoValidation(token.data(), kHeader64.size(), header, nullptr));
  EXPECT_TRUE(header.empty());
}

TEST(VerifierSegmentsTest, NoTextIsMalformed) {
  qxVariantMapImpl claims;
  Verifier::RejectCause cause = Verifier::RC_None;
  EXPECT_FALSE(Verifier().validateJwt(nullptr, 0, claims, &cause));
  EXPECT_EQ(cause, Verifier::RC_Malformed);
  EXPECT_FALSE(Verifier::ExtractJwtContentNoValidation(nullptr, 0, claims, &claims));
}

TEST(VerifierSegmentsTest, ANulStopsTheSearchForDots) {
  const string token = MakeGoodToken();
  const size_t first = token.find('.');
  const size_t second = token.rfind('.');
  for (const size_t position : {size_t{0}, first - 1, first, first + 1, first + 2, second - 1, second}) {
    EXPECT_EQ(GetMacCause(Insert(token, position, '\0')), Verifier::RC_Malformed) << position;
  }
}

TEST(VerifierSegmentsTest, ANulInTheSignatureDoesNotEndIt) {
  const string token = MakeGoodToken();
  EXPECT_EQ(GetMacCause(token + '\0'), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(GetMacCause(token + string("\0.x", 3)), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(GetMacCause(Insert(token, token.rfind('.') + 1, '\0')), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(GetSignedCause(MakeGoodSigned() + '\0', RS256), Verifier::RC_InternalError);
}

TEST(VerifierSegmentsTest, HeaderAndPayloadMustBeStrictBase64) {
  const string signature = "." + GetSignature(MakeGoodToken());
  for (const string bad : {"=", " ", "\n", "+", "/", "*", "\xC3\xA9"}) {
    EXPECT_EQ(GetMacCause(kHeader64 + bad + "." + kClaims64 + signature), Verifier::RC_Malformed) << bad;
    EXPECT_EQ(GetMacCause(kHeader64 + "." + kClaims64 + bad + signature), Verifier::RC_Malformed) << bad;
  }
  EXPECT_EQ(GetMacCause("e30x." + kClaims64 + signature), Verifier::RC_Malformed);
  // Left-over bits: "e30" is {}.
  EXPECT_EQ(GetMacCause("e31." + kClaims64 + signature), Verifier::RC_Malformed);
}

TEST(VerifierSegmentsTest, ASignatureThatIsNotCanonicalIsRejected) {
  const string hashed = MakeGoodToken();
  const string digitallySigned = MakeGoodSigned();
  const auto change = [](const string& token, const std::function<void(string&)>& edit) {
    string signature = GetSignature(token);
    edit(signature);
    return GetText(token) + "." + signature;
  };
  const vector<pair<const char*, std::function<void(string&)>>> edits{
      {"padding", [](string& s) { s += "="; }},
      {"more padding", [](string& s) { s += "=="; }},
      {"a blank behind", [](string& s) { s += " "; }},
      {"a blank in front", [](string& s) { s.insert(0, " "); }},
      {"a line end within", [](string& s) { s.insert(10, "\n"); }},
      {"left-over bits", [](string& s) { s.back() = static_cast<char>(s.back() + 1); }},
      {"the standard alphabet", [](string& s) { s[3] = '+'; }},
      {"its other character", [](string& s) { s[3] = '/'; }},
      {"a NUL", [](string& s) { s[3] = '\0'; }},
      {"one character more than whole groups", [](string& s) { s.resize(s.size() / 4 * 4 + 1, 'A'); }},
  };
  for (const auto& [name, edit] : edits) {
    EXPECT_EQ(GetMacCause(change(hashed, edit)), Verifier::RC_SignatureMismatch) << name;
    EXPECT_EQ(GetSignedCause(change(digitallySigned, edit), RS256), Verifier::RC_InternalError) << name;
  }
}

TEST(VerifierSegmentsTest, HeaderAndPayloadMustBeJsonObjects) {
  const string deep(100'000, '[');
  const string deepObject = [] {
    string text;
    for (int i = 0; i < 100'000; ++i) text += R"({"a":)";
    return text + "1" + string(100'000, '}');
  }();
  for (const string& bad : {string("[]"), string("1"), string("\"text\""), string("null"), string("true"), string(" "),
                            string("{"), string("{}}"), string("{} x"), string("{'a':1}"), string("{\"a\":\"\xFF\"}"),
                            string("{\"\xED\xA0\x80\":1}"), string("{}\0", 3), "{\"a\":" + deep + "}", deepObject}) {
    EXPECT_EQ(GetMacCause(MakeMacToken(bad, kClaims)), Verifier::RC_Malformed) << bad.substr(0, 50);
    EXPECT_EQ(GetMacCause(MakeMacToken(kHs256Header, bad)), Verifier::RC_Malformed) << bad.substr(0, 50);
  }
}

TEST(VerifierSegmentsTest, OfDuplicateMembersTheLastCounts) {
  EXPECT_EQ(GetMacCause(MakeMacToken(R"({"alg":"none","alg":"HS256"})", kClaims)), Verifier::RC_None);
  EXPECT_EQ(GetMacCause(MakeMacToken(R"({"alg":"HS256","alg":"none"})", kClaims)), Verifier::RC_UnsupportedAlg);
  EXPECT_EQ(GetMacCause(MakeMacToken(kHs256Header, R"({"exp":1700000600,"exp":1,"iat":1700000000})")),
            Verifier::RC_Expired);
  EXPECT_EQ(GetMacCause(MakeMacToken(kHs256Header, R"({"exp":1,"exp":1700000600,"iat":1700000000})")),
            Verifier::RC_None);
}

TEST(VerifierSegmentsTest, ATokenOfSixteenMebibytesIsChecked) {
  const string big(12 << 20, 'x');
  const string token = MakeMacToken(kHs256Header, R"({"exp":1700000600,"iat":1700000000,"x":")" + big + "\"}");
  ASSERT_GT(token.size(), size_t{16} << 20);
  EXPECT_EQ(GetMacCause(token), Verifier::RC_None);
  EXPECT_EQ(GetMacCause(GetText(token) + "." + string(16 << 20, 'A')), Verifier::RC_SignatureMismatch);
  EXPECT_EQ(GetMacCause(string(16 << 20, '.')), Verifier::RC_Malformed);
  EXPECT_EQ(GetMacCause(string(16 << 20, 'A')), Verifier::RC_Malformed);
  EXPECT_EQ(GetMacCause(string(16 << 20, '\0')), Verifier::RC_Malformed);
}

TEST(VerifierSegmentsTest, AnIdentifierReachesTheProviderAsItIs) {
  const vector<pair<string, string>> kids{{"k \\\"quoted\\\"", "k \"quoted\""},
                                          {"a\\u0000b\\r\\n\\u001b[31m", string("a\0b\r\n\x1B[31m", 10)},
                                          {string(1 << 20, 'k'), string(1 << 20, 'k')}};
  for (const auto& [json, kid] : kids) {
    OneKeyProvider provider(GetKeyFor(RS256));
    Verifier verifier;
    verifier.setClientInfo({}, &provider, RS256, false);
    EXPECT_EQ(GetCause(verifier, MakeSignedToken(R"({"alg":"RS256","kid":")" + json + "\"}", kClaims, *provider.key)),
              Verifier::RC_None);
    EXPECT_EQ(provider.askedKid, kid);
  }
}

TEST(VerifierSegmentsTest, AReasonWithControlCharactersStaysOneLineOnStderr) {
  OneKeyProvider provider(nullptr);
  provider.reason = "No such key {a\r\n2026 forged line\x1B[31m}";
  Verifier verifier;
  verifier.setClientInfo({}, &provider, RS256, false);
  qx::test::StderrCapture capture;
  GetCause(verifier, MakeToken(MakeHeader(RS256), kClaims, "s"));
  const auto writes = capture.takeWrites();
  ASSERT_EQ(writes.size(), 1U);
  EXPECT_EQ(writes[0].find('\n'), writes[0].size() - 1);
  EXPECT_EQ(writes[0].find('\r'), string::npos);
  EXPECT_EQ(writes[0].find('\x1B'), string::npos);
  EXPECT_NE(writes[0].find("forged line"), string::npos);
}

TEST(VerifierSegmentsTest, AReasonOfAMebibyteIsCutInTheLog) {
  const qx::test::LogCapture log;
  OneKeyProvider provider(nullptr);
  provider.reason = "No such key {" + string(1 << 20, 'k') + "}";
  Verifier verifier;
  verifier.setClientInfo({}, &provider, RS256, false);
  GetCause(verifier, MakeToken(MakeHeader(RS256), kClaims, "s"));
  ASSERT_EQ(log.getLines().size(), 1U);
  EXPECT_LT(log.getLines()[0].text.size(), 8192U);
}

TEST(VerifierSegmentsTest, ContentIsExtractedWithoutTrust) {
  const string token = MakeToken(R"({"alg":"none","typ":"other"})", R"({"iss":"me"})", "any");
  qxVariantMapImpl header;
  qxVariantMapImpl payload;
  EXPECT_TRUE(Verifier::ExtractJwtContentNoValidation(token.data(), token.size(), header, &payload));
  EXPECT_EQ(header, ParseMap(R"({"alg":"none","typ":"other"})"));
  EXPECT_EQ(payload, ParseMap(R"({"iss":"me"})"));
}

TEST(VerifierSegmentsTest, ExtractionWithoutAPayloadLooksAtTheHeaderAlone) {
  const string token = kHeader64 + ".!!!.sig";
  qxVariantMapImpl header;
  EXPECT_TRUE(Verifier::ExtractJwtContentNoValidation(token.data(), token.size(), header, nullptr));
  EXPECT_EQ(header, ParseMap(kHs256Header));
}

TEST(VerifierSegmentsTest, FailedExtractionReplacesOnlyWhatItCouldRead) {
  const qxVariantMapImpl before = ParseMap(R"({"before":1})");
  qxVariantMapImpl header = before;
  qxVariantMapImpl payload = before;
  const string badPayload = kHeader64 + ".W10.sig";
  EXPECT_FALSE(Verifier::ExtractJwtContentNoValidation(badPayload.data(), badPayload.size(), header, &payload));
  EXPECT_EQ(header, ParseMap(kHs256Header));
  EXPECT_EQ(payload, before);
  header = before;
  const string badHeader = "W10." + kClaims64 + ".sig";
  EXPECT_FALSE(Verifier::ExtractJwtContentNoValidation(badHeader.data(), badHeader.size(), header, &payload));
  EXPECT_EQ(header, before);
  EXPECT_EQ(payload, before);
}

TEST(VerifierSegmentsTest, AnEmptyHeaderIsAnEmptyMap) {
  const string token = "." + kClaims64 + ".";
  qxVariantMapImpl header = ParseMap(R"({"before":1})");
  EXPECT_TRUE(Verifier::ExtractJwtContentNoValidation(token.data(), token.size(), header, nullptr));
  EXPECT_TRUE(header.empty());
}

}  // namespace
}  // namespace qx::jwt
