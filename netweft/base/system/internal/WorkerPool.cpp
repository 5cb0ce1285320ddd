#include "netweft/base/system/internal/WorkerPool.h"

#include "netweft/base/system/internal/AssumeHeld.h"
#include "netweft/base/system/internal/RequireThread.h"
#include "netweft/base/system/internal/WorkerThread.h"
#include "netweft/base/system/qxMutexLocker.h"

namespace qx::impl {

WorkerPool::WorkerPool() = default;

WorkerPool::~WorkerPool() { stop(); }

void WorkerPool::add(unique_ptr<WorkerThread> worker) {
  WorkerThread& started = *worker;
  {
    const qxMutexLocker lock(mutex, true);
    mWorkers.push_back(std::move(worker));
  }
  started.startThread(nullptr);
}

void WorkerPool::requireWorker() {
  // A worker that runs takes the mutex, and the list grows no more: so none is needed here.
  RequireThread(
      std::any_of(mWorkers.begin(), mWorkers.end(), [](const auto& worker) { return IsThreadRunning(*worker); }));
}

void WorkerPool::stop() {
  // The list keeps its entries until all are joined: workers that still run may ask who is busy.
  for (size_t i = 0; i < mWorkers.size(); ++i) mWorkers[i]->stop();
  const qxMutexLocker lock(mutex, true);
  mWorkers.clear();
}

bool WorkerPool::isAnyBusy() const noexcept {
  return std::any_of(mWorkers.begin(), mWorkers.end(), [](const auto& worker) {
    AssumeHeld(worker->mPool.mutex);  // which is this pool's
    return worker->isBusy();
  });
}

}  // namespace qx::impl
