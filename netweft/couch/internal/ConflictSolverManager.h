#pragma once

#include "netweft/base/system/qxMutexLocker.h"
#include "netweft/base/system/qxTimer.h"
#include "netweft/couch/internal/ConflictSolverState.h"
#include "netweft/http/HttpConnection.h"

namespace qx::couch {

/// What the solver's own thread does: takes the next request, reads its view, hands out the documents, and ends it.
/// Lives on that thread.
///
///   no request -> (one waits) -> read the view -> (documents) -> wait for the workers -> read the view ...
///                                              -> (nothing)   -> finished: 1
///   cancelled, or any error before             -> drop the jobs, wait for the workers -> finished: 0
class NETWEFT_HIDDEN ConflictSolver::Manager {
 public:
  explicit Manager(State& state) : mState(state) {}

  /// Until the stop flag.
  void run();

 private:
  enum Reading { R_Rows, R_TimedOut, R_Failed };

  /// One round, as far as the next wait. False when the solver is to stop.
  bool step();
  void beginNextOrWait() NETWEFT_REQUIRES(mState.requestMutex);
  /// False when the current request's view is not to be read now: waits, or goes on cancelling.
  bool prepareReading() NETWEFT_REQUIRES(mState.requestMutex);
  void goOnCancelling() NETWEFT_REQUIRES(mState.requestMutex);
  bool isTimeToRead() NETWEFT_REQUIRES(mState.requestMutex);
  void takeIn(Reading reading, bool hadError, qxVariantMapImpl& answer) NETWEFT_REQUIRES(mState.requestMutex);
  void finish(int completed, uint64 documentsDone) NETWEFT_REQUIRES(mState.requestMutex);

  /// No lock.
  Reading readView(qxVariantMapImpl& answer);

  State& mState;
  unique_ptr<http::HttpConnection> mConnection;
  /// Marked by the first of the readings that time out. A request that is cancelled between two of them leaves the mark
  /// to the next one.
  qxTimer mRetryTimer{false};
  bool mLastReadWasFull = false;
};

}  // namespace qx::couch
