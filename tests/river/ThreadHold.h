#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace qx::couch::test {

/// A point at which a thread of the library stands still, inside a host's callback, until the test lets it go on.
class ThreadHold {
 public:
  void stand() {
    std::unique_lock lock(mMutex);
    mArrived = true;
    mCondition.notify_all();
    mCondition.wait(lock, [this] { return mReleased; });
  }
  [[nodiscard]] bool waitForArrival() {
    std::unique_lock lock(mMutex);
    return mCondition.wait_for(lock, std::chrono::seconds(60), [this] { return mArrived; });
  }
  void release() {
    const std::lock_guard lock(mMutex);
    mReleased = true;
    mCondition.notify_all();
  }

 private:
  std::mutex mMutex;
  std::condition_variable mCondition;
  bool mArrived = false;
  bool mReleased = false;
};

}  // namespace qx::couch::test
