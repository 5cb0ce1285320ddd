#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx {

/// Digests by number. The numbers are part of the binary interface.
enum HashType : int32 {
  HT_Sha1 = 2,  ///< for fingerprints alone, never for security
  HT_Sha256 = 3,
  HT_Sha384 = 4,
  HT_Sha512 = 5,
};

}  // namespace qx
