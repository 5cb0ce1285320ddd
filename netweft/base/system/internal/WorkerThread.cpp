#include "netweft/base/system/internal/WorkerThread.h"

#include "netweft/base/system/internal/AssumeHeld.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxMutexLocker.h"

#include <exception>

namespace qx::impl {

namespace {

constexpr int sTurnsOutsideTheLock = 1000;

}  // namespace

bool WorkerThread::isStopRequested() const noexcept { return ReadFlag(mStop); }

void WorkerThread::run() {
  SetCurrentThreadName(mName);
  qxMutexLocker lock(mPool.mutex, true);
  while (!isStopRequested()) {
    switch (take()) {
      case T_Wait:
        Guard([this] {
          AssumeHeld(mPool.mutex);
          onIdle();
        });
        mPool.wake.wait(&mPool.mutex, qxWaitCondition::sNoLimit);
        break;
      case T_Again:
        lock.unlock();
        // Long enough that whoever wakes for the lock finds it free: a lock taken again at once starves them.
        for (int turn = 0; turn < sTurnsOutsideTheLock; ++turn) std::this_thread::yield();
        lock.lock();
        break;
      case T_Batch:
        mBusy = true;
        lock.unlock();
        Guard([this] { serveBatch(); });
        lock.lock();
        mBusy = false;
        Guard([this] {
          AssumeHeld(mPool.mutex);
          finishBatch();
        });
        break;
    }
  }
  lock.unlock();
  Guard([this] { onEnd(); });
}

WorkerThread::Taking WorkerThread::take() noexcept {
  Taking taking = T_Wait;
  Guard([&] {
    AssumeHeld(mPool.mutex);
    taking = takeBatch();
  });
  return taking;
}

void WorkerThread::LogCurrentException() noexcept {
  try {
    throw;
  } catch (const std::exception& error) {
    LogError() << "A worker thread met an exception: " << error.what();
  } catch (...) {
    LogError() << "A worker thread met an unknown exception";
  }
}

void WorkerThread::stop() {
  {
    const qxMutexLocker lock(mPool.mutex, true);
    StoreFlag(mStop, true);
    mPool.wake.wakeAll();
  }
  waitThread(sNoLimit);
}

}  // namespace qx::impl
