#pragma once

#include "netweft/base/system/qxTypes.h"

/// The one clock behind `GetTimeBaseSec`, `GetTimeBaseMs`, `GetSecElapsedSinceEpoch` and `qxTimer`: the real one
/// plus an offset that only tests raise, so that no test waits out a minute of back-off. It never stands still
/// and never goes back. Waits, sleeps and `qxHighResTimer` stay real.
namespace qx::impl {

int64 ClockMonotonicMs();
int64 ClockEpochMs();

/// Raises the offset; milliseconds, not negative. For tests; any thread.
void AdvanceClock(int64 ms);

}  // namespace qx::impl
