#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// Bit 0 chooses the URL-safe alphabet, bit 1 leaves the padding out.
enum Base64CharSet : int32 {
  B64_Standard = 0,      ///< "+" and "/", padded
  B64_UrlSafe = 1,       ///< "-" and "_", padded
  B64_StandardBare = 2,  ///< "+" and "/", no padding
  B64_UrlSafeBare = 3,   ///< "-" and "_", no padding, as in a compact JWS
};

/// Replaces `out`. False for an unknown alphabet. `data` may be null when `n` is 0.
NETWEFT_EXPORT bool base64Encode(const char* data, uint64 n, string& out, Base64CharSet charSet);

/// Replaces `out`. Strict: the wrong alphabet, wrong or missing padding, padding where there should be none, white
/// space and non-zero left-over bits are bad input: false, with `out` empty.
NETWEFT_EXPORT bool base64Decode(const char* text, uint64 n, bytes& out, Base64CharSet charSet);
NETWEFT_EXPORT bool base64Decode(const string& text, bytes& out, Base64CharSet charSet);

}  // namespace qx
