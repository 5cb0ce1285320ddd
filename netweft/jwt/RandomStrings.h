#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

/// Random text for nonces, identifiers and salts, from the private generator of the crypto library. `n` counts the
/// random bytes, not the characters of the result. Any thread.
namespace qx::jwt {

/// In base64 with the URL-safe alphabet and no padding. 0 counts as 1.
NETWEFT_EXPORT string CreateRandB64String(uint64 n);

/// In lower-case hexadecimal, two digits a byte. 0 counts as 1.
NETWEFT_EXPORT string CreateRandHexString(uint64 n);

/// In base64 with the URL-safe alphabet and padding. Empty for 0.
NETWEFT_EXPORT string CreateSalt(uint64 n);

}  // namespace qx::jwt
