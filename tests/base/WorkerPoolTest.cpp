#include "netweft/base/system/internal/WorkerPool.h"

#include "netweft/base/system/internal/WorkerThread.h"
#include "netweft/base/system/qxMutexLocker.h"
#include "tests/support/Gate.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <functional>
#include <future>
#include <stdexcept>

namespace qx::impl {
namespace {

/// What the workers of these tests share: a count of batches to take, and what was seen.
struct World {
  WorkerPool pool;
  int waiting = 0;
  int finished = 0;
  int idle = 0;
  std::atomic<int> ended{0};
  std::atomic<int> asked{0};
  bool spin = false;
  std::function<void()> serve = [] {};
  std::function<void()> take = [] {};
  std::function<void(bool isBusy)> finish = [](bool) {};

  void add(int batches) {
    const qxMutexLocker lock(pool.mutex, true);
    waiting += batches;
    pool.wake.wakeAll();
  }
  void waitUntilFinished(int count) {
    const qxMutexLocker lock(pool.mutex, true);
    while (finished < count) pool.wake.wait(&pool.mutex, 1000);
  }
  void waitUntilIdle(int count) {
    const qxMutexLocker lock(pool.mutex, true);
    while (idle < count) pool.wake.wait(&pool.mutex, 20);
  }
  int countFinished() {
    const qxMutexLocker lock(pool.mutex, true);
    return finished;
  }
};

class CountingWorker final : public WorkerThread {
 public:
  explicit CountingWorker(World& world) : WorkerThread(world.pool, "nw-counting"), mWorld(world) {}
  ~CountingWorker() override { waitThread(sNoLimit); }

 private:
  Taking takeBatch() override {
    ++mWorld.asked;
    mWorld.take();
    if (mWorld.waiting == 0) return mWorld.spin ? T_Again : T_Wait;
    --mWorld.waiting;
    return T_Batch;
  }
  void serveBatch() override { mWorld.serve(); }
  void finishBatch() override {
    ++mWorld.finished;
    mWorld.finish(isBusy());
    mWorld.pool.wake.wakeAll();
  }
  void onIdle() override { ++mWorld.idle; }
  void onEnd() override { ++mWorld.ended; }

  World& mWorld;
};

/// What a test's functions refer to must outlive the workers: a test with variables of its own in them stops the pool.
class WorkerPoolTest : public testing::Test {
 protected:
  ~WorkerPoolTest() override { world.pool.stop(); }
  void start(uint64 count) {
    world.pool.start(count, [this] { return std::make_unique<CountingWorker>(world); });
  }

  World world;
};

TEST_F(WorkerPoolTest, EachBatchIsServedAndFinishedOnce) {
  std::atomic<int> served{0};
  world.serve = [&] { ++served; };
  start(3);
  world.add(100);
  world.waitUntilFinished(100);
  world.pool.stop();
  EXPECT_EQ(served, 100);
  EXPECT_EQ(world.countFinished(), 100);
}

TEST_F(WorkerPoolTest, NoWorkersMeansOne) {
  start(0);
  EXPECT_EQ(world.pool.size(), 1u);
  world.add(1);
  world.waitUntilFinished(1);
}

TEST_F(WorkerPoolTest, EveryWorkerKnowsTheSizeOfTheWholePool) {
  std::atomic<bool> differs{false};
  world.take = [&] {
    if (world.pool.size() != 4) differs = true;
  };
  start(4);
  world.waitUntilIdle(4);
  world.pool.stop();
  EXPECT_FALSE(differs);
}

TEST_F(WorkerPoolTest, BatchesAreServedAtTheSameTimeAndWithoutTheLock) {
  const test::Gate gate;
  std::promise<void> opened;
  const std::shared_future<void> open = opened.get_future().share();
  world.serve = [&] {
    gate.arrive([] {});
    open.wait();
  };
  start(2);
  world.add(2);
  ASSERT_TRUE(gate.waitForArrivals(2));
  {
    const qxMutexLocker lock(world.pool.mutex, true);
    EXPECT_TRUE(world.pool.isAnyBusy());
  }
  opened.set_value();
  world.pool.stop();
}

TEST_F(WorkerPoolTest, AWorkerIsBusyOnlyWhileItServes) {
  std::atomic<bool> busyWhenFinishing{false};
  std::atomic<bool> busyWhenTaking{false};
  world.take = [&] { busyWhenTaking = busyWhenTaking || world.pool.isAnyBusy(); };
  world.finish = [&](bool isBusy) { busyWhenFinishing = busyWhenFinishing || isBusy; };
  start(1);
  world.add(3);
  world.waitUntilFinished(3);
  world.waitUntilIdle(1);
  world.pool.stop();
  EXPECT_FALSE(busyWhenFinishing);
  EXPECT_FALSE(busyWhenTaking);
}

TEST_F(WorkerPoolTest, StoppingJoinsAndEndsEveryWorkerOnce) {
  start(3);
  world.pool.stop();
  EXPECT_EQ(world.ended, 3);
  world.pool.stop();
  EXPECT_EQ(world.ended, 3);
}

TEST_F(WorkerPoolTest, AStoppedWorkerTakesNothingMore) {
  world.serve = [this] { world.add(1); };  // there is always one more
  start(1);
  world.add(1);
  world.waitUntilFinished(10);
  world.pool.stop();
  const int finished = world.countFinished();
  world.add(1);
  EXPECT_EQ(world.countFinished(), finished);
}

TEST_F(WorkerPoolTest, ABatchInHandIsFinishedBeforeAStopReturns) {
  const test::Gate gate;
  std::promise<void> opened;
  world.serve = [&] {
    gate.arrive([] {});
    opened.get_future().wait();
  };
  start(1);
  world.add(1);
  ASSERT_TRUE(gate.waitForArrivals(1));
  const auto stopping = std::async(std::launch::async, [this] { world.pool.stop(); });
  opened.set_value();
  stopping.wait();
  EXPECT_EQ(world.countFinished(), 1);
}

TEST_F(WorkerPoolTest, ThreadsCarryTheirName) {
  char name[16] = {};
  world.serve = [&] { pthread_getname_np(pthread_self(), name, sizeof(name)); };
  start(1);
  world.add(1);
  world.waitUntilFinished(1);
  world.pool.stop();
  EXPECT_STREQ(name, "nw-counting");
}

TEST_F(WorkerPoolTest, AnExceptionIsLoggedAndTheBatchIsFinished) {
  const test::LogCapture log;
  world.serve = [] { throw std::runtime_error("broken batch"); };
  start(1);
  world.add(2);
  world.waitUntilFinished(2);
  EXPECT_EQ(log.count(test::Error("A worker thread met an exception: broken batch")), 2u);
}

TEST_F(WorkerPoolTest, AThrownThingOfNoKnownKindIsLoggedToo) {
  const test::LogCapture log;
  world.serve = [] { throw 7; };
  start(1);
  world.add(1);
  world.waitUntilFinished(1);
  EXPECT_EQ(log.count(test::Error("A worker thread met an unknown exception")), 1u);
}

TEST_F(WorkerPoolTest, AnExceptionWhileTakingPutsTheWorkerToSleepUntilTheNextWake) {
  const test::LogCapture log;
  world.take = [this] {
    if (world.waiting == 1) throw std::runtime_error("no batch");
  };
  start(1);
  world.waitUntilIdle(1);
  world.add(1);
  world.waitUntilIdle(2);
  world.add(1);
  world.waitUntilFinished(1);
  EXPECT_TRUE(log.contains(LT_Error, "no batch"));
}

TEST_F(WorkerPoolTest, AskingAgainDoesNotSleepAndLetsOthersHaveTheLock) {
  world.spin = true;
  start(2);
  while (world.asked < 100) qxThread::msleep(1);
  world.add(1);
  world.waitUntilFinished(1);
  EXPECT_EQ(world.idle, 0);
}

int64 CpuMs() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return int64{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

TEST_F(WorkerPoolTest, IdleWorkersAskOnceAndSleep) {
  start(8);
  world.waitUntilIdle(8);
  const int asked = world.asked;
  const int64 before = CpuMs();
  qxThread::msleep(300);
  EXPECT_LT(CpuMs() - before, 100);
  EXPECT_LE(world.asked - asked, 8);  // a wake may be spurious
}

}  // namespace
}  // namespace qx::impl
