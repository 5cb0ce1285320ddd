#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxMutex.h"

#include <condition_variable>

namespace qx {

/// Lets threads sleep until another one says that something changed. Always waited on with the mutex that guards
/// the predicate. A wake may be spurious: test the predicate again.
class NETWEFT_EXPORT qxWaitCondition {
 public:
  /// As `ms`: wait without limit.
  static constexpr unsigned long sNoLimit = 0xFFFFFFFFUL;

  qxWaitCondition() = default;
  qxWaitCondition(const qxWaitCondition&) = delete;
  qxWaitCondition& operator=(const qxWaitCondition&) = delete;
  virtual ~qxWaitCondition();

  /// `mutex` is held on entry and on return, and released meanwhile. It must be held exactly once: a wait with
  /// a mutex that is held twice would never let go of it, so debug builds abort on it. Real time, in
  /// milliseconds. True when woken, false at the limit.
  bool wait(qxMutex* mutex, unsigned long ms) NETWEFT_REQUIRES(mutex);

  /// Wake one waiting thread, or all. Callable with and without the mutex.
  void wakeOne();
  void wakeAll();

 private:
  std::condition_variable mCondition;
};

}  // namespace qx
