#pragma once

#include "netweft/base/system/internal/JobQueue.h"

namespace qx::impl {

/// A pool of workers, the queue that they take from, and the settings that they read with each batch: callbacks and the
/// like, which may only change while nothing is to be done.
///
/// A copy shares the pool of its source and owns nothing: it starts and stops no thread, must die before its source,
/// and its queue and settings are its own, which no worker looks at.
template <class Jobs, class Settings>
class JobPool {
 public:
  explicit JobPool(const Settings& given)
      : mOwnPool(std::make_unique<WorkerPool>()), pool(*mOwnPool), jobs(pool), settings(given) {}
  JobPool(const JobPool& source) : JobPool(source, qxMutexLocker(source.pool.mutex, true)) {}
  JobPool& operator=(const JobPool&) = delete;
  ~JobPool() { stop(); }

  /// Joins the workers, unless this is a copy.
  void stop() {
    if (mOwnPool != nullptr) mOwnPool->stop();
  }

  /// False, with nothing changed, while any job is not done.
  bool replaceSettings(const Settings& given) {
    const qxMutexLocker lock(jobs.mutex(), true);
    if (jobs.areAllDoneHeld()) settings = given;
    return jobs.areAllDoneHeld();
  }

  Settings copySettings() const {
    const qxMutexLocker lock(jobs.mutex(), true);
    return settings;
  }

 private:
  const unique_ptr<WorkerPool> mOwnPool;

 public:
  WorkerPool& pool;

  JobQueue<Jobs> jobs;
  Settings settings NETWEFT_GUARDED_BY(jobs.mutex());

 private:
  JobPool(const JobPool& source, const qxMutexLocker&)
      : pool(source.pool), jobs(source.jobs), settings(source.settings) {}
};

}  // namespace qx::impl
