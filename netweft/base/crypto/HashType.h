#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx {

/// Digests by number. The numbers are part of the binary interface.
enum HashType : int32 {
  HT_Sha1 = 2,    ///< 20 bytes; for fingerprints alone, never for security
  HT_Sha256 = 3,  ///< 32 bytes
  HT_Sha384 = 4,  ///< 48 bytes
  HT_Sha512 = 5,  ///< 64 bytes
};

}  // namespace qx
