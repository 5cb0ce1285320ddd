#include "netweft/jwt/Verifier.h"

#include "fuzz/Input.h"
#include "fuzz/JsonMap.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/base/crypto/EllipticCurveKey.h"
#include "netweft/base/crypto/RSAKey.h"
#include "netweft/jwt/CreateJwt.h"
#include "tests/base/PemKeys.h"

#include <bit>
#include <iterator>

/// No text of a stranger is accepted; a token of ours is, with the claims that it was made of, and no longer when one
/// byte of it is another. The input: a byte that chooses the algorithm, two that choose a place and one that makes the
/// byte there another, eight for the time; a line of claims; and a stranger's text.
namespace qx::fuzz {
namespace {

using namespace jwt;

constexpr int64 sNow = 1'700'000'000;
constexpr int sAllAlgs = sHmacAlgs | sAsymmetricAlgs;
const string sSecret = "what nobody outside of this program knows";

/// Keys that are made when the program starts, so that no input can hold a signature of theirs.
class Keys final : public KeyProvider {
 public:
  static Keys& Get() {
    static Keys keys;
    return keys;
  }

  shared_ptr<AsymmetricKey> getKeyFromId(const string&, Alg alg, string*) override {
    if ((alg & sRsaAlgs) != 0) return mRsa;
    return alg == ES256 ? mP256 : mP384;
  }

 private:
  shared_ptr<AsymmetricKey> mRsa = std::make_shared<RSAKey>(test::GetRsaPem(2048).pkcs8);
  shared_ptr<AsymmetricKey> mP256 = std::make_shared<EllipticCurveKey>(test::GetCurvePem("P-256").pkcs8);
  shared_ptr<AsymmetricKey> mP384 = std::make_shared<EllipticCurveKey>(test::GetCurvePem("P-384").pkcs8);
};

struct Verdict {
  bool isAccepted = false;
  Verifier::RejectCause cause = Verifier::RC_None;
  qxVariantMapImpl claims;

  bool isUntouched() const { return claims.size() == 1 && claims.contains("before"); }
};

/// From memory of the token's own size, so that a look beyond it is seen.
Verdict Verify(std::string_view token, bool skipTimeChecks, int64 now = sNow) {
  const vector<char> copy(token.begin(), token.end());
  Verifier verifier;
  verifier.setClientInfo(sSecret, &Keys::Get(), sAllAlgs, skipTimeChecks);
  Verdict verdict;
  verdict.claims["before"] = true;
  verdict.isAccepted = verifier.validateJwtWithTimeBase(copy.data(), copy.size(), verdict.claims, now, &verdict.cause);
  Require(verdict.isAccepted == (verdict.cause == Verifier::RC_None), "a rejection has a cause");
  return verdict;
}

void CheckStranger(std::string_view text, int64 now) {
  for (const bool skipTimeChecks : {true, false}) {
    const Verdict verdict = Verify(text, skipTimeChecks, now);
    Require(!verdict.isAccepted && !Verifier::IsTimeError(verdict.cause), "no signature of a stranger holds");
    Require(verdict.isUntouched(), "the claims of a stranger are not handed out");
  }
  const vector<char> copy(text.begin(), text.end());
  qxVariantMapImpl header;
  qxVariantMapImpl payload;
  const bool isWhole = Verifier::ExtractJwtContentNoValidation(copy.data(), copy.size(), header, &payload);
  const bool hasHeader = Verifier::ExtractJwtContentNoValidation(copy.data(), copy.size(), header, nullptr);
  Require(hasHeader || !isWhole, "who can be read with his claims can be read without");
}

bool Create(qxVariantMapImpl& claims, Alg alg, string& token) {
  constexpr int allFlags = HF_Issuer | HF_Subject | HF_Audience;
  return (alg & sHmacAlgs) != 0
             ? CreateHashedJwt(claims, sSecret, alg, token, allFlags)
             : CreateSignedJwt(claims, *Keys::Get().getKeyFromId("", alg, nullptr), alg, token, allFlags);
}

void CheckOwn(qxVariantMapImpl claims, Alg alg, Input choices, int64 now) {
  claims["iat"] = sNow;
  claims["exp"] = sNow + 600;
  string token;
  Require(Create(claims, alg, token), "a token is made of any claims");
  const Verdict verdict = Verify(token, true);
  Require(verdict.isAccepted && verdict.claims == claims, "a token is accepted with the claims that it was made of");
  const Verdict timed = Verify(token, false, now);
  Require(timed.isAccepted || Verifier::IsTimeError(timed.cause) || claims["nbf"].getType() != qxVariant::VT_Integer,
          "but for its times");

  const size_t place = choices.takeNumber(2) % token.size();
  const unsigned char difference = choices.takeByte();
  if (difference == 0) return;
  token[place] = static_cast<char>(static_cast<unsigned char>(token[place]) ^ difference);
  const Verdict changed = Verify(token, true);
  Require(!changed.isAccepted && changed.isUntouched(), "one byte makes a token another");
}

void Check(std::string_view data) {
  // Mostly those that cost little.
  constexpr Alg algs[] = {HS256, HS384, HS512, HS256, HS384, HS512, HS256, HS384, ES256, HS512, ES256, RS512, HS256};
  Input input(data);
  const Alg alg = algs[input.takeByte() % std::size(algs)];
  const Input choices(input.takeText(3));
  const uint64 high = input.takeNumber(4);
  const int64 now = std::bit_cast<int64>(high << 32 | input.takeNumber(4));
  qxVariantMapImpl claims;
  if (ReadJson(input.takeLine(), claims)) CheckOwn(std::move(claims), alg, choices, now);
  CheckStranger(input.takeRest(), now);
}

const Target sTarget("jwt", Check);

}  // namespace
}  // namespace qx::fuzz
