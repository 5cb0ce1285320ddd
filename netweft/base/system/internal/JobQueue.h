#pragma once

#include "netweft/base/system/internal/AssumeHeld.h"
#include "netweft/base/system/internal/PollUntilDone.h"
#include "netweft/base/system/internal/TakeFront.h"
#include "netweft/base/system/internal/WorkerPool.h"

namespace qx::impl {

/// Jobs that wait for the workers of a pool, in the order of their keys, and the count of those asked for and done.
/// `Jobs` is an ordered set or map.
///
/// Operations named "...Held" are called with the pool's mutex held; the others take it. A copy is a queue of its own
/// over the same pool: it starts with the same jobs and counts, and sees nothing of what happens to its source.
template <class Jobs>
class JobQueue {
 public:
  /// `pool` must outlive the queue. Every change that somebody may wait for wakes all on `pool.wake`.
  explicit JobQueue(WorkerPool& pool) noexcept : mPool(&pool) {}
  JobQueue(const JobQueue& other) : JobQueue(other, qxMutexLocker(other.mPool->mutex, true)) {}
  JobQueue& operator=(const JobQueue&) = delete;
  ~JobQueue() = default;

  /// The pool's.
  qxMutex& mutex() const noexcept NETWEFT_RETURN_CAPABILITY(mPool->mutex) { return mPool->mutex; }

  /// Counts `job` if no job of its key waits; otherwise the one that waits stays as it is. Wakes nobody.
  void addHeld(const typename Jobs::value_type& job) NETWEFT_REQUIRES(mPool->mutex) {
    if (mWaiting.insert(job).second) ++mTotal;
  }

  /// The same for each of `jobs`, and wakes all.
  template <class Range>
  void addAllHeld(const Range& jobs) NETWEFT_REQUIRES(mPool->mutex) {
    mPool->wake.wakeAll();  // ahead of the rest, so that what is added before memory runs out is served
    for (const auto& job : jobs) addHeld(job);
  }

  /// Moves up to `limit` jobs from the front into `batch`.
  void takeHeld(Jobs& batch, uint64 limit) noexcept NETWEFT_REQUIRES(mPool->mutex) {
    TakeFront(mWaiting, batch, limit);
  }

  /// `count` jobs that were taken are done, whatever became of them.
  void finishHeld(uint64 count) noexcept NETWEFT_REQUIRES(mPool->mutex) {
    mDone += count;
    if (areAllDoneHeld()) mPool->wake.wakeAll();
  }

  bool isEmptyHeld() const noexcept NETWEFT_REQUIRES(mPool->mutex) { return mWaiting.empty(); }
  bool areAllDoneHeld() const noexcept NETWEFT_REQUIRES(mPool->mutex) { return mDone == mTotal; }
  bool isCancelledHeld() const noexcept NETWEFT_REQUIRES(mPool->mutex) { return mCancelled; }
  /// Jobs that were asked for and are not done: waiting or in a worker's hands.
  uint64 countUndoneHeld() const noexcept NETWEFT_REQUIRES(mPool->mutex) { return mTotal - mDone; }

  /// Drops what waits. What was taken goes on. The queue stays cancelled for good. A cancel that changes nothing wakes
  /// nobody, or two who wait with raised flags would keep each other awake.
  void cancel() {
    Jobs dropped;
    const qxMutexLocker lock(mPool->mutex, true);
    if (mCancelled && mWaiting.empty()) return;
    mTotal -= mWaiting.size();
    mCancelled = true;
    dropped.swap(mWaiting);
    mPool->wake.wakeAll();
  }

  /// Blocks until every job is done, and cancels when `*cancelFlag` (null: none) is seen raised, which is looked at
  /// every 150 ms. True if the queue was never cancelled. Not from a worker's thread, whose own batch is never done.
  bool waitUntilAllDone(const bool* cancelFlag) {
    const auto isDone = [this] {
      AssumeHeld(mPool->mutex);
      return areAllDoneHeld();
    };
    PollUntilDone(mPool->mutex, mPool->wake, 150, cancelFlag, isDone, [this] { cancel(); });
    const qxMutexLocker lock(mPool->mutex, true);
    return !mCancelled;
  }

 private:
  JobQueue(const JobQueue& other, const qxMutexLocker&)
      : mPool(other.mPool),
        mWaiting(other.mWaiting),
        mDone(other.mDone),
        mTotal(other.mTotal),
        mCancelled(other.mCancelled) {}

  WorkerPool* const mPool;
  Jobs mWaiting NETWEFT_GUARDED_BY(mPool->mutex);
  uint64 mDone NETWEFT_GUARDED_BY(mPool->mutex) = 0;
  uint64 mTotal NETWEFT_GUARDED_BY(mPool->mutex) = 0;
  bool mCancelled NETWEFT_GUARDED_BY(mPool->mutex) = false;
};

}  // namespace qx::impl
