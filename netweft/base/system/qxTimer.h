#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// An interval timer on the monotonic clock of `qxSystemUtils::GetTimeBaseMs`. One thread at a time.
class NETWEFT_EXPORT qxTimer {
 public:
  /// With `snapNow` the mark is taken at once; otherwise it is unset.
  explicit qxTimer(bool snapNow);

  /// Sets the mark to now.
  void snapTime();
  /// Unsets the mark.
  void clearTime() noexcept { mSnapped = false; }
  /// Whether there is a mark.
  bool isTimeSnapped() const noexcept { return mSnapped; }

  /// Milliseconds since the mark; may be 0, so guard a division by it. Without a mark, the milliseconds since
  /// the clock's own zero: longer than any interval of interest.
  int64 getElapsedMs() const;

  /// True once `s` seconds have passed since the mark. A timer never marked counts as elapsed.
  bool isElapsedSec(int64 s) const;

 private:
  int64 mMarkMs = 0;
  bool mSnapped = false;
};

}  // namespace qx
