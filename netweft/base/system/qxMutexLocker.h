#pragma once

#include "netweft/base/system/qxMutex.h"

namespace qx {

/// Holds a mutex for a scope. The mutex must outlive the locker. One thread.
class NETWEFT_SCOPED_CAPABILITY qxMutexLocker {
 public:
  /// With `lockNow` false the mutex is left alone until `lock()`; Clang's thread safety analysis takes it for held all
  /// the same.
  qxMutexLocker(qxMutex& mutex, bool lockNow) NETWEFT_ACQUIRE(mutex) : mMutex(mutex) {
    if (lockNow) lock();
  }
  qxMutexLocker(const qxMutexLocker&) = delete;
  qxMutexLocker& operator=(const qxMutexLocker&) = delete;
  ~qxMutexLocker() NETWEFT_RELEASE() { unlock(); }

  /// Do nothing when the locker holds, or does not hold, the mutex already.
  void lock() NETWEFT_ACQUIRE() {
    if (mHeld) return;
    mMutex.lock();
    mHeld = true;
  }
  void unlock() NETWEFT_RELEASE() {
    if (!mHeld) return;
    mHeld = false;
    mMutex.unlock();
  }

 private:
  qxMutex& mMutex;
  bool mHeld = false;
};

}  // namespace qx
