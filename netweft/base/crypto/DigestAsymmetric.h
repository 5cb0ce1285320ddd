#pragma once

#include "netweft/base/crypto/AsymmetricKey.h"
#include "netweft/base/crypto/HashType.h"
#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// Why signing or verifying could not be carried out.
enum SignatureError : int32 {
  SE_None = 0,              ///< carried out
  SE_InvalidKey = 1,        ///< the key has an error
  SE_CannotSign = 2,        ///< the key holds no private half
  SE_UnknownAlgorithm = 3,  ///< no such digest
  SE_CryptoFailure = 4,     ///< the crypto library failed
  SE_KeyMismatch = 5,       ///< the key's kind or curve is not the one that the algorithm wants
};

/// Hashes `data` and signs it: RSASSA-PKCS1-v1_5 with an RSA key, ECDSA with a key on a curve, whose result is r and s
/// side by side as a JWS carries them (64, 96 or 132 bytes). `out` is replaced, and empty on failure. `err` may be
/// null. Any thread; the crypto library's error queue is left as it was found.
NETWEFT_EXPORT bool SignDigestAsymmetric(bytes& out, const char* data, uint64 n, AsymmetricKey& key, HashType type,
                                         SignatureError* err);

/// True when `sig` is the key's signature of `data`. False with `*err` 0: it is not (a signature of another length
/// among them). False with `*err` not 0: verification could not be carried out. `err` may be null.
NETWEFT_EXPORT bool VerifyDigestAsymmetric(const char* sig, uint64 sigLen, const char* data, uint64 n,
                                           AsymmetricKey& key, HashType type, SignatureError* err);

}  // namespace qx
