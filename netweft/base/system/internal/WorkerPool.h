#pragma once

#include "netweft/base/system/qxMutex.h"
#include "netweft/base/system/qxTypes.h"
#include "netweft/base/system/qxWaitCondition.h"

#include <algorithm>

namespace qx::impl {

class WorkerThread;

/// A fixed set of worker threads with the lock that guards what they work on and the condition that they sleep on.
///
/// Its owner keeps everything that the workers reach outside the pool alive until `stop` has returned: so it declares
/// the pool as its last member, or calls `stop` at the top of its destructor.
///
/// `mutex` and `wake` are the owner's to use: change the state that `takeBatch` looks at under `mutex`, then wake.
class WorkerPool {
 public:
  WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;
  ~WorkerPool();

  /// Makes and starts `count` workers, one after the other; 0 counts as 1. `make` gives each as a unique_ptr to a
  /// subclass of `WorkerThread`. Once, from the thread that made the pool.
  ///
  /// Those that the system gives no thread are missed, with an error in the log; without a single one it throws
  /// std::system_error.
  template <class Make>
  void start(uint64 count, Make make) {
    mSize = std::max<uint64>(count, 1);
    for (uint64 i = 0; i < mSize; ++i) add(make());
    requireWorker();
  }

  /// Ends the workers in turn: each is told to stop and joined before the next is told. What they have in hand is
  /// finished, and those that were not told yet go on taking batches. Not from a worker's thread, not with `mutex`
  /// held. Does nothing the second time.
  void stop();

  /// How many workers there are in all, also while they are still being started. Any thread.
  uint64 size() const noexcept { return mSize; }

  bool isAnyBusy() const noexcept NETWEFT_REQUIRES(mutex);

  qxMutex mutex;
  qxWaitCondition wake;

 private:
  void add(unique_ptr<WorkerThread> worker);
  void requireWorker();

  uint64 mSize = 0;  ///< constant from before the first thread on
  /// Written with `mutex` held, by the thread that made the pool alone, which so reads it without.
  vector<unique_ptr<WorkerThread>> mWorkers;
};

}  // namespace qx::impl
