#include "netweft/base/system/qxMutexLocker.h"

#include "netweft/base/system/qxWaitCondition.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace qx {
namespace {

/// Whether another thread can take the mutex; it is free when this returns true.
class Contender {
 public:
  explicit Contender(qxMutex& mutex)
      : mThread([this, &mutex] {
          const qxMutexLocker locker(mutex, true);
          mEntered = true;
        }) {}
  ~Contender() { mThread.join(); }

  bool hasEntered() const { return mEntered; }

 private:
  std::atomic<bool> mEntered{false};
  std::thread mThread;
};

bool IsFree(qxMutex& mutex) {
  // Joins, so it would hang on a mutex that is held by somebody else for good.
  std::thread([&mutex] { const qxMutexLocker locker(mutex, true); }).join();
  return true;
}

TEST(qxMutexLocker, LocksAtOnceWhenTold) {
  qxMutex mutex;
  qxMutexLocker locker(mutex, true);
  Contender contender(mutex);
  EXPECT_FALSE(contender.hasEntered());
  locker.unlock();
}

TEST(qxMutexLocker, LeavesTheMutexAloneUntilTold) {
  qxMutex mutex;
  qxMutexLocker locker(mutex, false);
  EXPECT_TRUE(IsFree(mutex));
  locker.lock();
  Contender contender(mutex);
  EXPECT_FALSE(contender.hasEntered());
  locker.unlock();
}

TEST(qxMutexLocker, DestructorUnlocksWhatIsHeld) {
  qxMutex mutex;
  { const qxMutexLocker locker(mutex, true); }
  EXPECT_TRUE(IsFree(mutex));
}

TEST(qxMutexLocker, DestructorLeavesAReleasedMutexAlone) {
  qxMutex mutex;
  mutex.lock();
  {
    qxMutexLocker locker(mutex, true);
    locker.unlock();
  }
  Contender contender(mutex);
  EXPECT_FALSE(contender.hasEntered());
  mutex.unlock();
}

TEST(qxMutexLocker, LockingTwiceHoldsOnce) {
  qxMutex mutex;
  qxMutexLocker locker(mutex, true);
  locker.lock();
  locker.unlock();
  EXPECT_TRUE(IsFree(mutex));
  locker.unlock();
}

}  // namespace
}  // namespace qx
