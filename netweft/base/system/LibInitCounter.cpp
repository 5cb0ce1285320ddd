#include "netweft/base/system/LibInitCounter.h"

#include "netweft/base/system/qxLogObject.h"

namespace qx::impl {

LibInitCounter::LibInitCounter(const char* name, bool warnIfLeft) noexcept : mName(name), mWarnIfLeft(warnIfLeft) {}

LibInitCounter::~LibInitCounter() {
  if (mWarnIfLeft && isInitialized()) {
    LogWarning() << "The library " << mName << " was initialised and not terminated; count " << mCount.load();
  }
}

bool LibInitCounter::incrementInitCounter() noexcept { return mCount.fetch_add(1) == 0; }

bool LibInitCounter::decrementInitCounter() noexcept {
  int count = mCount.load();
  while (count > 0) {
    if (mCount.compare_exchange_weak(count, count - 1)) return count == 1;
  }
  return false;
}

bool LibInitCounter::isInitialized() const noexcept { return mCount.load() > 0; }

}  // namespace qx::impl
