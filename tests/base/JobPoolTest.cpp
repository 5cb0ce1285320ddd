#include "netweft/base/system/internal/JobPool.h"

#include "netweft/base/system/internal/WorkerThread.h"

#include <gmock/gmock.h>

namespace qx::impl {
namespace {

using Pool = JobPool<set<string>, int>;

class DrainingWorker final : public WorkerThread {
 public:
  explicit DrainingWorker(Pool& work) : WorkerThread(work.pool, "nw-draining"), mWork(work) {}

 private:
  Taking takeBatch() override {
    mWork.jobs.takeHeld(mBatch, 1);
    return mBatch.empty() ? T_Wait : T_Batch;
  }
  void serveBatch() override {}
  void finishBatch() override {
    mWork.jobs.finishHeld(mBatch.size());
    mBatch.clear();
  }

  Pool& mWork;
  set<string> mBatch;
};

void Start(Pool& work) {
  work.pool.start(2, [&] { return std::make_unique<DrainingWorker>(work); });
}

void Add(Pool& work, const vector<string>& jobs) {
  const qxMutexLocker lock(work.pool.mutex, true);
  work.jobs.addAllHeld(jobs);
}

TEST(JobPoolTest, JobsThatAreAddedWakeTheWorkers) {
  Pool work(1);
  Start(work);
  Add(work, {"a", "b", "c"});
  EXPECT_TRUE(work.jobs.waitUntilAllDone(nullptr));
}

TEST(JobPoolTest, SettingsChangeOnlyWhileNothingIsToBeDone) {
  Pool work(1);
  Add(work, {"a"});
  EXPECT_FALSE(work.replaceSettings(2));
  EXPECT_EQ(work.copySettings(), 1);
  work.jobs.cancel();
  EXPECT_TRUE(work.replaceSettings(2));
  EXPECT_EQ(work.copySettings(), 2);
}

TEST(JobPoolTest, ACopySharesThePoolAndStopsNobody) {
  Pool work(1);
  Start(work);
  {
    const Pool copy(work);
    EXPECT_EQ(&copy.pool, &work.pool);
  }
  Add(work, {"a"});
  EXPECT_TRUE(work.jobs.waitUntilAllDone(nullptr));
}

TEST(JobPoolTest, ACopyHasAQueueThatNobodyServes) {
  Pool work(1);
  Start(work);
  Pool copy(work);
  Add(copy, {"a"});
  EXPECT_TRUE(work.jobs.waitUntilAllDone(nullptr));
  EXPECT_FALSE(copy.replaceSettings(2));
  copy.jobs.cancel();
}

}  // namespace
}  // namespace qx::impl
