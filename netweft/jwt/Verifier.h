#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/jwt/Alg.h"
#include "netweft/jwt/KeyProvider.h"

namespace qx::jwt {

/// Checks tokens that a peer sent. A host says once what it trusts, then hands in each token.
///
/// Threads: no lock. The validating functions change nothing and may run on several threads at once while nobody calls
/// `setClientInfo` or `clearClientInfo`, as far as the key provider bears it (a `KeyStore` does not).
class NETWEFT_EXPORT Verifier {
 public:
  /// Why a token was rejected.
  enum RejectCause : int32 {
    RC_None = 0,               ///< accepted
    RC_Malformed = 1,          ///< not three segments, not base64, not JSON, another "typ", an "nbf" that is no integer
    RC_UnsupportedAlg = 2,     ///< "alg" is missing, unknown or not allowed
    RC_Uninitialized = 3,      ///< the algorithm is allowed, but no secret or no key provider was given
    RC_SignatureMismatch = 4,  ///< signed by somebody else, or changed since
    RC_InternalError = 5,      ///< no such key, a key of another kind, a signature that is not base64
    RC_Expired = 6,            ///< "exp" is over or missing
    RC_IssuedInFuture = 7,     ///< "iat" lies ahead or is missing
    RC_NotYetValid = 8,        ///< "nbf" lies ahead
  };

  /// Accepts nothing until `setClientInfo`.
  Verifier() = default;
  // A copy would be one more place where the secret lies.
  Verifier(const Verifier&) = delete;
  Verifier& operator=(const Verifier&) = delete;
  /// Wipes the secret.
  ~Verifier();

  /// Replaces what is trusted; the old secret is wiped first. Only the mask decides what is accepted: both a secret and
  /// a provider may be given. `keyProvider` stays the caller's and must outlive its use here; null when no signed
  /// tokens are expected. `allowedAlgs` is a mask of `Alg`. With `skipTimeChecks` neither "exp" nor "iat" nor "nbf" is
  /// looked at.
  ///
  /// Any text may be a secret. A host that allows an HMAC algorithm and gives as secret what others know too (a public
  /// key, say) accepts what anybody makes.
  void setClientInfo(const string& secret, KeyProvider* keyProvider, int allowedAlgs, bool skipTimeChecks);
  /// Back to the state after construction; wipes the secret.
  void clearClientInfo();

  /// True when the signature holds and, unless they are skipped, the times do. `claims` is then the token's payload;
  /// whatever it held before is gone. A rejection for its times leaves the payload there too, for the signature has
  /// held; any other rejection leaves `claims` untouched. `cause` may be null; it is 0 on success.
  ///
  /// All times have a leeway of 120 seconds. The first form takes the time from the clock, the second from `nowSec`
  /// (Unix time). `data` need not be terminated and may be null when `size` is 0.
  bool validateJwt(const string& token, qxVariantMapImpl& claims, RejectCause* cause) const;
  bool validateJwt(const char* data, uint64 size, qxVariantMapImpl& claims, RejectCause* cause) const;
  bool validateJwtWithTimeBase(const string& token, qxVariantMapImpl& claims, int64 nowSec, RejectCause* cause) const;
  bool validateJwtWithTimeBase(const char* data, uint64 size, qxVariantMapImpl& claims, int64 nowSec,
                               RejectCause* cause) const;

  /// Reads a token without trusting it, for example to look at "iss" before choosing a verifier. `payload` may be null,
  /// and is then not looked at. False when it is malformed; `header` and `payload` are then replaced only as far as
  /// each could be read.
  static bool ExtractJwtContentNoValidation(const char* data, uint64 size, qxVariantMapImpl& header,
                                            qxVariantMapImpl* payload);

  /// True for the three causes that have to do with time.
  static bool IsTimeError(RejectCause cause);
  /// A text for people.
  static string RejectCauseToString(RejectCause cause);

 private:
  static bool SplitJwt(const char* data, uint64 size, qxVariantMapImpl& header, qxVariantMapImpl* payload,
                       const char*& signature, uint64& signatureSize);

  string mSecret;
  KeyProvider* mKeyProvider = nullptr;
  int32 mAllowedAlgs = 0;
  bool mSkipTimeChecks = false;
};

}  // namespace qx::jwt
