#include "netweft/base/system/qxMutex.h"

namespace qx {

qxMutex::~qxMutex() = default;

void qxMutex::lock() {
  mMutex.lock();
  ++mDepth;
}

void qxMutex::unlock() {
  --mDepth;
  mMutex.unlock();
}

}  // namespace qx
