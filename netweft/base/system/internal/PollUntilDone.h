#pragma once

#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxMutexLocker.h"
#include "netweft/base/system/qxWaitCondition.h"

namespace qx::impl {

/// Blocks until `isDone()`, which is asked with `mutex` held: each time `condition` is woken, and every `pollMs`
/// milliseconds besides. Whenever `*cancelFlag` (null: none) is found raised, `cancel()` is called with `mutex` held;
/// it is to drop what was not begun, so that `isDone` comes true soon. `mutex` must not be held by the caller.
template <class IsDone, class Cancel>
void PollUntilDone(qxMutex& mutex, qxWaitCondition& condition, unsigned long pollMs, const bool* cancelFlag,
                   IsDone isDone, Cancel cancel) {
  for (bool done = false; !done;) {
    const qxMutexLocker lock(mutex, true);
    done = isDone();
    if (!done) condition.wait(&mutex, pollMs);
    if (ReadFlag(cancelFlag)) cancel();
  }
}

}  // namespace qx::impl
