#pragma once

#include "netweft/base/crypto/EllipticCurveKey.h"
#include "netweft/base/crypto/HashType.h"
#include "netweft/base/crypto/RSAKey.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/jwt/Verifier.h"

/// Tokens of any shape, made by hand, and what a verifier says of them.
namespace qx::jwt::test {

inline const string kSecret = "a secret that only the two of us know";
/// The time base of the tests, and claims that are good at it.
constexpr int64 kNow = 1'700'000'000;
inline const string kClaims = R"({"exp":1700000600,"iat":1700000000})";
inline const string kHs256Header = R"({"alg":"HS256","typ":"JWT"})";

string ToUrlSafe(const string& raw);
/// The raw bytes behind a segment.
string FromUrlSafe(const string& segment);

/// Header and payload encoded, with a dot between them.
string MakeText(const string& header, const string& payload);
/// With an HMAC behind it.
string MakeMacToken(const string& header, const string& payload, const string& secret = kSecret,
                    HashType hash = HT_Sha256);
/// With any bytes as the signature.
string MakeToken(const string& header, const string& payload, const string& signature);
/// Signed by a key, whatever the header says.
string MakeSignedToken(const string& header, const string& payload, AsymmetricKey& key, HashType hash = HT_Sha256);

/// The part of a token behind its second dot, and all before it.
string GetSignature(const string& token);
string GetText(const string& token);

/// `json` must be an object.
qxVariantMapImpl ParseMap(const string& json);
/// The maps in the first two segments of a token.
qxVariantMapImpl ReadHeader(const string& token);
qxVariantMapImpl ReadPayload(const string& token);

/// One for each algorithm's kind and curve; made once, and can sign.
shared_ptr<AsymmetricKey> GetKeyFor(Alg alg);
HashType GetHashOf(Alg alg);
inline const vector<Alg> kHmacAlgs{HS256, HS384, HS512};
inline const vector<Alg> kAsymmetricAlgs{RS256, RS384, RS512, ES256, ES384, ES512};
string MakeHeader(Alg alg);

/// Gives out one key, whatever is asked for; without one, it has a reason.
class OneKeyProvider final : public KeyProvider {
 public:
  explicit OneKeyProvider(shared_ptr<AsymmetricKey> givenKey) : key(std::move(givenKey)) {}

  shared_ptr<AsymmetricKey> getKeyFromId(const string& kid, Alg alg, string* error) override;

  shared_ptr<AsymmetricKey> key;
  string reason = "no such key";
  /// What was asked for last, and how often anything was.
  string askedKid;
  Alg askedAlg = AlgNone;
  int asked = 0;
};

/// What a verifier says. `claims` held {"before":1}.
struct Verdict {
  bool accepted = false;
  Verifier::RejectCause cause = Verifier::RC_None;
  qxVariantMapImpl claims;

  bool claimsAreUntouched() const;
};

Verdict Check(const Verifier& verifier, const string& token, int64 now = kNow);

/// The cause alone; on acceptance `RC_None`. Fails the test when the result and the cause disagree.
Verifier::RejectCause GetCause(const Verifier& verifier, const string& token, int64 now = kNow);
/// By a verifier that allows HS256 with `kSecret`.
Verifier::RejectCause GetMacCause(const string& token, int64 now = kNow);
/// By a verifier that allows one asymmetric algorithm with the key of `GetKeyFor`.
Verifier::RejectCause GetSignedCause(const string& token, Alg alg, int64 now = kNow);

}  // namespace qx::jwt::test
