#pragma once

#include "netweft/base/system/internal/WorkerPool.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/couch/ConflictSolver.h"
#include "netweft/couch/internal/ConflictJobs.h"

#include <algorithm>

namespace qx::couch {

/// What a solver is. Two locks, always taken in this order: the request mutex, then the job mutex, which is the pool's.
/// The callers take the first alone, the workers the second alone.
struct NETWEFT_HIDDEN ConflictSolver::State {
  State(uint64 givenViewLimit, uint64 givenWorkerBatch)
      : viewLimit(givenViewLimit), workerBatch(std::max<uint64>(givenWorkerBatch, 1)) {}

  void cancelHeld(const string& db) noexcept NETWEFT_REQUIRES(requestMutex) {
    pending.erase(db);
    if (current != nullptr && current->dbName == db) StoreFlag(cancelFlag, true);
    requestCondition.wakeAll();
  }

  const uint64 viewLimit;
  const uint64 workerBatch;

  qxMutex requestMutex;
  qxWaitCondition requestCondition;  ///< wakes the manager, and those who wait for the end of a request

  map<string, ResolveConflictRequest> pending NETWEFT_GUARDED_BY(requestMutex);
  /// Null: none is being served. Written by the manager's thread with the request mutex held, and while there are no
  /// jobs: so workers may read it with the job mutex alone as long as there are some, and the manager with none.
  shared_ptr<const ResolveConflictRequest> current;

  // Read and written through qxFlag.h. Cleared when a request begins, at which time no worker is busy.
  bool cancelFlag = false;
  bool errorFlag = false;
  bool stopFlag = false;

  ConflictJobs jobs NETWEFT_GUARDED_BY(pool.mutex);
  uint64 documentsDone NETWEFT_GUARDED_BY(pool.mutex) = 0;

  impl::WorkerPool pool;
};

}  // namespace qx::couch
