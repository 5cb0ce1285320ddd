#include "netweft/base/system/qxWaitCondition.h"

#include "netweft/base/system/qxMutexLocker.h"

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <vector>

namespace qx {
namespace {

static_assert(std::has_virtual_destructor_v<qxWaitCondition>);
static_assert(qxWaitCondition::sNoLimit == 0xFFFFFFFFUL);

class qxWaitConditionTest : public testing::Test {
 protected:
  /// Starts a thread that waits until it is woken, and counts itself before and after.
  void startWaiter() {
    waiters.emplace_back([this] {
      const qxMutexLocker locker(mutex, true);
      ++waiting;
      arrived.wakeAll();
      while (tickets == 0) condition.wait(&mutex, qxWaitCondition::sNoLimit);
      --tickets;
      ++woken;
      arrived.wakeAll();
    });
  }

  void awaitCount(const int& count, int wanted) {
    const qxMutexLocker locker(mutex, true);
    while (count < wanted) arrived.wait(&mutex, qxWaitCondition::sNoLimit);
  }

  void giveTickets(int count) {
    const qxMutexLocker locker(mutex, true);
    tickets += count;
  }

  void TearDown() override {
    for (std::thread& waiter : waiters) waiter.join();
  }

  qxMutex mutex;
  qxWaitCondition condition;
  qxWaitCondition arrived;
  int waiting = 0;
  int tickets = 0;
  int woken = 0;
  std::vector<std::thread> waiters;
};

TEST_F(qxWaitConditionTest, WakeOneWakesAWaiter) {
  startWaiter();
  awaitCount(waiting, 1);
  giveTickets(1);
  condition.wakeOne();
  awaitCount(woken, 1);
}

TEST_F(qxWaitConditionTest, WakeAllWakesEveryWaiter) {
  for (int i = 0; i < 3; ++i) startWaiter();
  awaitCount(waiting, 3);
  giveTickets(3);
  condition.wakeAll();
  awaitCount(woken, 3);
}

TEST_F(qxWaitConditionTest, FalseAtTheLimit) {
  const qxMutexLocker locker(mutex, true);
  // A wake may be spurious, so only the last answer counts.
  int tries = 0;
  while (condition.wait(&mutex, 1) && tries < 100) ++tries;
  EXPECT_LT(tries, 100);
}

TEST_F(qxWaitConditionTest, TrueWhenWokenBeforeTheLimit) {
  bool result = false;
  bool ready = false;
  std::thread waiter([&] {
    const qxMutexLocker locker(mutex, true);
    ++waiting;
    arrived.wakeAll();
    while (!ready) result = condition.wait(&mutex, 600000);
  });
  awaitCount(waiting, 1);
  {
    const qxMutexLocker locker(mutex, true);
    ready = true;
  }
  condition.wakeOne();
  waiter.join();
  EXPECT_TRUE(result);
}

TEST_F(qxWaitConditionTest, MutexIsHeldAgainAfterAWait) {
  qxMutexLocker locker(mutex, true);
  condition.wait(&mutex, 1);
  bool entered = false;
  std::thread other([&] {
    const qxMutexLocker inner(mutex, true);
    entered = true;
  });
  EXPECT_FALSE(entered);
  condition.wait(&mutex, 1);
  locker.unlock();
  other.join();
  EXPECT_TRUE(entered);
}

using qxWaitConditionDeathTest = qxWaitConditionTest;

TEST_F(qxWaitConditionDeathTest, WaitWithAMutexHeldTwiceAbortsDebugBuilds) {
#if defined(NDEBUG)
  GTEST_SKIP() << "this build does not look for a mutex that is held twice";
#else
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const qxMutexLocker once(mutex, true);
  const qxMutexLocker twice(mutex, true);
  EXPECT_DEATH(condition.wait(&mutex, 1), "held 2 times");
#endif
}

TEST_F(qxWaitConditionDeathTest, WaitWithAFreeMutexAbortsDebugBuilds) {
#if defined(NDEBUG)
  GTEST_SKIP() << "this build does not look for a mutex that is not held";
#else
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(condition.wait(&mutex, 1), "held 0 times");
#endif
}

}  // namespace
}  // namespace qx
