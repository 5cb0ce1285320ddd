#include "netweft/base/system/qxMutex.h"

namespace qx {

qxMutex::~qxMutex() = default;

void qxMutex::lock() {
  const std::thread::id self = std::this_thread::get_id();
  if (mHolder.load(std::memory_order_relaxed) != self) {
    mMutex.lock();
    mHolder.store(self, std::memory_order_relaxed);
  }
  ++mDepth;
}

void qxMutex::unlock() {
  if (--mDepth > 0) return;
  mHolder.store({}, std::memory_order_relaxed);
  mMutex.unlock();
}

}  // namespace qx
