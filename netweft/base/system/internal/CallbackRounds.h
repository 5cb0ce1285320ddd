#pragma once

#include "netweft/base/system/qxMutex.h"
#include "netweft/base/system/qxTypes.h"
#include "netweft/base/system/qxWaitCondition.h"

#include <thread>

namespace qx::impl {

/// Registered callbacks, and rounds in which each is called once. `add`, `remove` and `stop` may be called from any
/// thread, also from inside a callback; `runRound` is for one thread at a time. Callbacks run without a lock held.
class CallbackRounds {
 public:
  using Callback = void (*)(void* arg);

  /// A pair that is registered already stays as it is. One that is added during a round waits for the next.
  void add(Callback fn, void* arg);

  /// Returns when the callback is not running any more and will not run again; at once when it is called from
  /// inside that callback.
  void remove(Callback fn, void* arg);

  /// Calls all that are registered, in the order of their registration. An exception of one is logged.
  void runRound();

  /// No callback is started any more.
  void stop();

 private:
  struct Registration {
    uint64 id;
    Callback fn;
    void* arg;
  };

  vector<Registration>::iterator find(Callback fn, void* arg) NETWEFT_REQUIRES(mMutex);
  bool takeNext(uint64 lastOfRound) NETWEFT_REQUIRES(mMutex);

  qxMutex mMutex;
  qxWaitCondition mCallFinished;
  vector<Registration> mRegistrations NETWEFT_GUARDED_BY(mMutex);  ///< ascending by id
  uint64 mLastId NETWEFT_GUARDED_BY(mMutex) = 0;
  Registration mCurrent NETWEFT_GUARDED_BY(mMutex){};  ///< the one that runs, or ran last in this round
  bool mRunning NETWEFT_GUARDED_BY(mMutex) = false;
  uint64 mFinishedCalls NETWEFT_GUARDED_BY(mMutex) = 0;
  std::thread::id mThread NETWEFT_GUARDED_BY(mMutex);  ///< that of the round
  bool mStopped NETWEFT_GUARDED_BY(mMutex) = false;
};

}  // namespace qx::impl
