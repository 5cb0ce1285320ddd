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
  bool woken = true;
  if (ms >= sNoLimit) {
    mCondition.wait(mutex->mMutex);
  } else {
    woken = mCondition.wait_for(mutex->mMutex, std::chrono::milliseconds(ms)) == std::cv_status::no_timeout;
  }
  mutex->mDepth = depth;
  return woken;
}

void qxWaitCondition::wakeOne() { mCondition.notify_one(); }

void qxWaitCondition::wakeAll() { mCondition.notify_all(); }

}  // namespace qx
