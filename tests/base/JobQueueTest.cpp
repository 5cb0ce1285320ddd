#include "netweft/base/system/internal/JobQueue.h"

#include <gmock/gmock.h>

#include <future>

namespace qx::impl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class JobQueueTest : public testing::Test {
 protected:
  using Jobs = std::set<string>;

  void add(const string& job) {
    const qxMutexLocker lock(pool.mutex, true);
    queue.addHeld(job);
  }
  Jobs take(uint64 limit) {
    const qxMutexLocker lock(pool.mutex, true);
    Jobs batch;
    queue.takeHeld(batch, limit);
    return batch;
  }
  void finish(uint64 count) {
    const qxMutexLocker lock(pool.mutex, true);
    queue.finishHeld(count);
  }
  uint64 undone() {
    const qxMutexLocker lock(pool.mutex, true);
    return queue.countUndoneHeld();
  }

  WorkerPool pool;
  JobQueue<Jobs> queue{pool};
};

TEST_F(JobQueueTest, JobsAreTakenInTheOrderOfTheirKeys) {
  for (const char* job : {"b", "ab", "a", "c"}) add(job);
  EXPECT_THAT(take(3), ElementsAre("a", "ab", "b"));
  EXPECT_THAT(take(3), ElementsAre("c"));
  EXPECT_THAT(take(3), IsEmpty());
}

TEST_F(JobQueueTest, AJobThatWaitsCountsOnce) {
  add("a");
  add("a");
  EXPECT_EQ(undone(), 1u);
}

TEST_F(JobQueueTest, AJobThatWasTakenCanBeAskedForAgain) {
  add("a");
  take(1);
  add("a");
  EXPECT_EQ(undone(), 2u);
}

TEST_F(JobQueueTest, OfTwoValuesForOneKeyTheFirstStays) {
  JobQueue<map<string, string>> typed(pool);
  const qxMutexLocker lock(pool.mutex, true);
  typed.addHeld({"a", "first"});
  typed.addHeld({"a", "second"});
  map<string, string> batch;
  typed.takeHeld(batch, 2);
  EXPECT_THAT(batch, ElementsAre(Pair("a", "first")));
  EXPECT_EQ(typed.countUndoneHeld(), 1u);
}

TEST_F(JobQueueTest, TakingNothingTakesNothing) {
  add("a");
  EXPECT_THAT(take(0), IsEmpty());
  EXPECT_EQ(undone(), 1u);
}

TEST_F(JobQueueTest, AFreshQueueIsDone) { EXPECT_TRUE(queue.waitUntilAllDone(nullptr)); }

TEST_F(JobQueueTest, WaitingEndsWhenTheLastJobIsDone) {
  add("a");
  take(1);
  auto waiting = std::async(std::launch::async, [this] { return queue.waitUntilAllDone(nullptr); });
  EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
  finish(1);
  EXPECT_TRUE(waiting.get());
}

TEST_F(JobQueueTest, CancellingDropsWhatWaitsAndKeepsWhatWasTaken) {
  for (const char* job : {"a", "b", "c"}) add(job);
  take(1);
  queue.cancel();
  EXPECT_EQ(undone(), 1u);
  EXPECT_THAT(take(9), IsEmpty());
}

TEST_F(JobQueueTest, AQueueOnceCancelledIsNeverWholeAgain) {
  queue.cancel();
  EXPECT_FALSE(queue.waitUntilAllDone(nullptr));
  add("a");
  take(1);
  finish(1);
  EXPECT_FALSE(queue.waitUntilAllDone(nullptr));
}

TEST_F(JobQueueTest, ARaisedFlagCancelsWhileWaiting) {
  add("a");
  const bool cancelFlag = true;
  EXPECT_FALSE(queue.waitUntilAllDone(&cancelFlag));
  EXPECT_EQ(undone(), 0u);
}

TEST_F(JobQueueTest, AFlagRaisedInMidWaitIsSeen) {
  add("a");
  bool cancelFlag = false;
  auto waiting = std::async(std::launch::async, [&] { return queue.waitUntilAllDone(&cancelFlag); });
  StoreFlag(cancelFlag, true);
  EXPECT_FALSE(waiting.get());
}

TEST_F(JobQueueTest, ACancelThatChangesNothingWakesNobody) {
  queue.cancel();
  std::promise<void> waiting;
  auto sleeper = std::async(std::launch::async, [&] {
    const qxMutexLocker lock(pool.mutex, true);
    waiting.set_value();
    return pool.wake.wait(&pool.mutex, 300);
  });
  waiting.get_future().wait();
  queue.cancel();
  EXPECT_FALSE(sleeper.get());
}

TEST_F(JobQueueTest, ACopyHasJobsAndCountsOfItsOwn) {
  add("a");
  JobQueue<Jobs> copy(queue);
  const qxMutexLocker lock(pool.mutex, true);
  Jobs batch;
  copy.takeHeld(batch, 1);
  copy.finishHeld(1);
  EXPECT_TRUE(copy.areAllDoneHeld());
  EXPECT_FALSE(queue.areAllDoneHeld());
  EXPECT_FALSE(queue.isEmptyHeld());
}

}  // namespace
}  // namespace qx::impl
