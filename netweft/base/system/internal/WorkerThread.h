#pragma once

#include "netweft/base/system/internal/WorkerPool.h"
#include "netweft/base/system/qxThread.h"

#include <utility>

namespace qx::impl {

/// One thread of a `WorkerPool`: it takes a batch, serves it, accounts for it, and sleeps when there is none. A
/// subclass says what a batch is; the loop, the stop flag and the state "busy" are here, once for all who have such
/// threads.
///
///   until stopped: takeBatch (lock) -> serveBatch (no lock) -> finishBatch (lock) -> takeBatch ...
///                  with nothing to take: onIdle (lock), then asleep until the pool's `wake` is woken
///   at the end:    onEnd (no lock)
///
/// "Lock" is the pool's mutex, held by the loop around the call: an operation that runs under it must neither wait nor
/// take another lock that is ever held around this one.
///
/// Nothing that a subclass throws leaves the thread: it is logged as an error, and the loop goes on. A batch whose
/// serving threw is finished like any other; a subclass that has to tell somebody catches for itself.
class WorkerThread : public qxThread {
 public:
  /// `pool` must outlive the thread; `name` is what a debugger shows, at most 15 characters, not copied.
  WorkerThread(WorkerPool& pool, const char* name) noexcept : mPool(pool), mName(name) {}

  /// With the lock held: a batch is in this thread's hands, from `takeBatch` until just before its `finishBatch`.
  bool isBusy() const noexcept NETWEFT_REQUIRES(mPool.mutex) { return mBusy; }

  /// Runs `body`, and logs what it throws: for calls of the host's callbacks, so that one that throws costs no other
  /// its turn. Also for threads of the library that belong to no pool.
  template <class Body>
  static void Guard(Body&& body) noexcept {
    try {
      std::forward<Body>(body)();
    } catch (...) {
      LogCurrentException();
    }
  }

 protected:
  enum Taking {
    T_Batch,  ///< there is a batch in hand: serve it
    T_Wait,   ///< nothing to do: sleep
    T_Again,  ///< let go of the lock and ask again at once; this spins
  };

  /// Lock held. Moves work into the subclass's own members. Never called once a stop was asked for.
  virtual Taking takeBatch() NETWEFT_REQUIRES(mPool.mutex) = 0;
  /// No lock. Look at `isStopRequested` between steps that take long.
  virtual void serveBatch() = 0;
  /// Lock held, after every `serveBatch`, also when it threw and when a stop was asked for meanwhile.
  virtual void finishBatch() NETWEFT_REQUIRES(mPool.mutex) = 0;
  /// Lock held, each time before the thread falls asleep.
  virtual void onIdle() NETWEFT_REQUIRES(mPool.mutex) {}
  /// No lock, once, as the thread's last act.
  virtual void onEnd() {}

  /// Any thread, with and without the lock.
  bool isStopRequested() const noexcept;

  void run() final;

 private:
  friend class WorkerPool;

  static void LogCurrentException() noexcept;

  /// Asks for the end, wakes the pool and joins. From any other thread, without the lock.
  void stop();
  Taking take() noexcept NETWEFT_REQUIRES(mPool.mutex);

  WorkerPool& mPool;
  const char* const mName;
  bool mBusy NETWEFT_GUARDED_BY(mPool.mutex) = false;
  bool mStop = false;  ///< written with the lock held, read without, both through qxFlag.h
};

}  // namespace qx::impl
