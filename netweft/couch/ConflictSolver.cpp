#include "netweft/couch/ConflictSolver.h"

#include "netweft/base/system/internal/PollUntilDone.h"
#include "netweft/base/system/internal/RequireThread.h"
#include "netweft/couch/internal/ConflictSolverManager.h"
#include "netweft/couch/internal/ConflictSolverWorker.h"

namespace qx::couch {

namespace {

constexpr unsigned long sEndPollMs = 50;

}  // namespace

ConflictSolver::ConflictSolver(unsigned long long workerCount, unsigned long long viewLimit,
                               unsigned long long workerBatch)
    : mState(std::make_unique<State>(viewLimit, workerBatch)) {
  mState->pool.start(workerCount, [this] { return std::make_unique<Worker>(*mState); });
  startThread(nullptr);
  impl::RequireThread(impl::IsThreadRunning(*this));
}

ConflictSolver::~ConflictSolver() {
  {
    const qxMutexLocker lock(mState->requestMutex, true);
    StoreFlag(mState->cancelFlag, true);
    StoreFlag(mState->stopFlag, true);
    mState->requestCondition.wakeAll();
  }
  waitThread(sNoLimit);
  mState->pool.stop();
}

void ConflictSolver::requestResolveConflicts(const ResolveConflictRequest& request) {
  if (request.dbName.empty()) return;
  const qxMutexLocker lock(mState->requestMutex, true);
  mState->pending.insert_or_assign(request.dbName, request);
  mState->requestCondition.wakeAll();
}

void ConflictSolver::cancelRequest(const string& db, bool wait) {
  {
    const qxMutexLocker lock(mState->requestMutex, true);
    mState->cancelHeld(db);
  }
  if (wait) waitForCurrent();
}

void ConflictSolver::cancelAllRequests(bool wait) {
  {
    const qxMutexLocker lock(mState->requestMutex, true);
    mState->pending.clear();
    StoreFlag(mState->cancelFlag, true);
    mState->requestCondition.wakeAll();
  }
  if (wait) waitForCurrent();
}

void ConflictSolver::run() {
  SetCurrentThreadName("nw-couch-solver");
  Manager(*mState).run();
}

void ConflictSolver::waitForCurrent() {
  impl::PollUntilDone(
      mState->requestMutex, mState->requestCondition, sEndPollMs, nullptr,
      [this] { return mState->current == nullptr; }, [] {});
}

}  // namespace qx::couch
