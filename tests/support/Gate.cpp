#include "tests/support/Gate.h"

#include <condition_variable>
#include <mutex>

namespace qx::test {

struct Gate::State {
  std::mutex mutex;
  std::condition_variable arrived;
  bool open = false;
  uint64 arrivals = 0;
  vector<std::function<void()>> waiting;
};

Gate::Gate() : mState(std::make_shared<State>()) {}

void Gate::open() const {
  vector<std::function<void()>> released;
  {
    const std::lock_guard lock(mState->mutex);
    mState->open = true;
    released.swap(mState->waiting);
  }
  for (const std::function<void()>& onOpen : released) onOpen();
}

bool Gate::isOpen() const {
  const std::lock_guard lock(mState->mutex);
  return mState->open;
}

bool Gate::waitForArrivals(uint64 count, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mState->mutex);
  return mState->arrived.wait_for(lock, timeout, [&] { return mState->arrivals >= count; });
}

void Gate::arrive(std::function<void()> onOpen) const {
  {
    const std::lock_guard lock(mState->mutex);
    ++mState->arrivals;
    mState->arrived.notify_all();
    if (!mState->open) {
      mState->waiting.push_back(std::move(onOpen));
      return;
    }
  }
  onOpen();
}

}  // namespace qx::test
