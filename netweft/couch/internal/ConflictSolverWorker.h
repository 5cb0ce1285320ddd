#pragma once

#include "netweft/base/system/internal/WorkerThread.h"
#include "netweft/couch/internal/ConflictSolverState.h"
#include "netweft/http/HttpConnection.h"

namespace qx::couch {

/// A worker of the solver: takes a batch of documents, settles each, and posts the entries of all of them at once.
class NETWEFT_HIDDEN ConflictSolver::Worker final : public impl::WorkerThread {
 public:
  explicit Worker(State& state) : WorkerThread(state.pool, "nw-couch-merge"), mState(state) {}

 private:
  /// The entries for one document, which stand or fall together, each.
  using Solutions = vector<qxVariantListImpl>;

  Taking takeBatch() override NETWEFT_REQUIRES(mState.pool.mutex);
  void serveBatch() override;
  void finishBatch() override NETWEFT_REQUIRES(mState.pool.mutex);
  void onIdle() override { mConnection.reset(); }
  void onEnd() override { mConnection.reset(); }

  Solutions settleBatch();
  /// True when the server has taken the batch; single documents in it may have been refused.
  bool post(Solutions solutions);
  bool checkAnswer(const string& response);

  State& mState;
  shared_ptr<const ResolveConflictRequest> mRequest;
  ConflictJobs mBatch;
  bool mIsPosted = false;
  unique_ptr<http::HttpConnection> mConnection;
};

}  // namespace qx::couch
