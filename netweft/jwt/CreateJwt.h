#pragma once

#include "netweft/base/crypto/AsymmetricKey.h"
#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/jwt/Alg.h"

/// Makes tokens: three segments with dots between them, each in base64 with the URL-safe alphabet and no padding.
/// Header and claims are signed and never encrypted: whoever holds a token can read them. Any thread, as long as nobody
/// changes the claims and the key meanwhile.
namespace qx::jwt {

/// The longest time from a token's "iat" to its "exp".
constexpr int64 sMaxLifetimeSec = 86400;

/// Claims that are repeated in the header, where a reader finds them before he knows whom to trust.
enum HeaderFlag : int32 {
  HF_Issuer = 1,    ///< "iss"
  HF_Subject = 2,   ///< "sub"
  HF_Audience = 4,  ///< "aud"
};

/// Unix time in whole seconds, as "iat", "nbf" and "exp" count.
NETWEFT_EXPORT int64 NowSec();

/// Makes a token that is protected by an HMAC under `key`, which must not be empty. `alg` is `HS256`, `HS384` or
/// `HS512`; `headerFlags` are `HeaderFlag`s.
///
/// `claims` must hold "exp", from "iat" on (that very second among them) to `sMaxLifetimeSec` behind it. A missing
/// "iat" is put into `claims` as now, a missing "nbf" as the value of "iat"; both may have been put there before a
/// failure.
///
/// False when the token could not be made, which leaves `token` as it was. Only an "exp" out of its range is logged.
NETWEFT_EXPORT bool CreateHashedJwt(qxVariantMapImpl& claims, const string& key, Alg alg, string& token,
                                    int headerFlags);

/// Makes a token that is signed by `key`, which must be able to sign; its `keyId`, if it has one, becomes "kid" of the
/// header. `alg` is one of the RS and ES algorithms and must be one of the key's kind, and of its curve. In all else as
/// `CreateHashedJwt`.
NETWEFT_EXPORT bool CreateSignedJwt(qxVariantMapImpl& claims, AsymmetricKey& key, Alg alg, string& token,
                                    int headerFlags);

}  // namespace qx::jwt
