#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx::jwt {

/// Signature algorithms of a token. Each is one bit, so that a mask (an `int`, made with "|") says which are allowed.
enum Alg : int32 {
  AlgNone = 0,   ///< no algorithm; nothing accepts or makes a token with it
  HS256 = 16,    ///< HMAC with SHA-256
  HS384 = 32,    ///< with SHA-384
  HS512 = 64,    ///< with SHA-512
  RS256 = 128,   ///< RSASSA-PKCS1-v1_5 with SHA-256
  RS384 = 256,   ///< with SHA-384
  RS512 = 512,   ///< with SHA-512
  ES256 = 1024,  ///< ECDSA on P-256 with SHA-256
  ES384 = 2048,  ///< on P-384 with SHA-384
  ES512 = 4096,  ///< on P-521 with SHA-512
};

/// The families as masks.
constexpr int sHmacAlgs = HS256 | HS384 | HS512;
constexpr int sRsaAlgs = RS256 | RS384 | RS512;
constexpr int sEllipticCurveAlgs = ES256 | ES384 | ES512;
constexpr int sAsymmetricAlgs = sRsaAlgs | sEllipticCurveAlgs;

/// "HS256" and so on, as a token's header has it; the empty string for any other value, combinations among them.
NETWEFT_EXPORT string AlgToString(Alg alg);

/// The algorithm of that name in any letter case; `AlgNone` for any other text ("none" among them).
NETWEFT_EXPORT Alg StringToAlg(const string& text);

}  // namespace qx::jwt
