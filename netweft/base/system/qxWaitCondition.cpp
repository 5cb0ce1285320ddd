#include "netweft/base/system/qxWaitCondition.h"

#include "netweft/base/system/qxLogObject.h"

#include <chrono>
#include <cstdlib>

namespace qx {
namespace {

#if defined(NDEBUG)
void CheckHeldOnce(int) {}
#else
void CheckHeldOnce(int depth) {
  if (depth == 1) return;
  LogError() << "qxWaitCondition: wait with a mutex that is held " << depth << " times";
  std::abort();
}
#endif

}  // namespace

qxWaitCondition::~qxWaitCondition() = default;

bool qxWaitCondition::wait(qxMutex* mutex, unsigned long ms) {
  CheckHeldOnce(mutex->mDepth);
  const int depth = std::exchange(mutex->mDepth, 0);
  const std::thread::id holder = mutex->mHolder.exchange({}, std::memory_order_relaxed);
  std::unique_lock lock(mutex->mMutex, std::adopt_lock);
  bool woken = true;
  if (ms >= sNoLimit) {
    mCondition.wait(lock);
  } else {
    woken = mCondition.wait_for(lock, std::chrono::milliseconds(ms)) == std::cv_status::no_timeout;
  }
  lock.release();
  mutex->mHolder.store(holder, std::memory_order_relaxed);
  mutex->mDepth = depth;
  return woken;
}

void qxWaitCondition::wakeOne() { mCondition.notify_one(); }

void qxWaitCondition::wakeAll() { mCondition.notify_all(); }

}  // namespace qx
