#pragma once

#include "netweft/base/system/qxMutex.h"

namespace qx {

/// Holds a mutex for a scope. The mutex must outlive the locker. One thread.
class qxMutexLocker {
 public:
  /// With `lockNow` false the mutex is left alone until `lock()`.
  qxMutexLocker(qxMutex& mutex, bool lockNow) : mMutex(mutex) {
    if (lockNow) lock();
  }
  qxMutexLocker(const qxMutexLocker&) = delete;
  qxMutexLocker& operator=(const qxMutexLocker&) = delete;
  ~qxMutexLocker() { unlock(); }

  /// Do nothing when the locker holds, or does not hold, the mutex already.
  void lock() {
    if (mHeld) return;
    mMutex.lock();
    mHeld = true;
  }
  void unlock() {
    if (!mHeld) return;
    mHeld = false;
    mMutex.unlock();
  }

 private:
  qxMutex& mMutex;
  bool mHeld = false;
};

}  // namespace qx
