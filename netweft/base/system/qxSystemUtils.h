#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// Clocks and random bytes of the system. Callable from any thread.
class NETWEFT_EXPORT qxSystemUtils {
 public:
  /// Unix time in whole seconds.
  static int64 GetSecElapsedSinceEpoch();

  /// A monotonic clock, in seconds and in milliseconds. Its zero means nothing.
  static int64 GetTimeBaseSec();
  static int64 GetTimeBaseMs();

  /// Fills `n` bytes from the private generator of the crypto library: fit for salts and nonces. If that fails
  /// the process ends, since no caller could be told.
  static void Rand(char* dst, uint64 n);
};

}  // namespace qx
