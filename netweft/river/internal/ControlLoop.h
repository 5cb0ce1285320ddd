#pragma once

#include "netweft/couch/ChangesListener.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/river/CouchToEsRiverManager.h"
#include "netweft/river/internal/IndexJob.h"
#include "netweft/river/internal/RiverState.h"

namespace qx::couch {

/// The control thread's work. In each pass it compares what callers have asked for with what runs, opens and closes
/// feeds, moves arriving changes into the queues, applies back-pressure, and checks the health of the indexes.
///
/// One thread. The manager's lock is held to reconcile, open and drain, and not for the health check, for the wait
/// for cancelled Workers, nor while the feeds run.
class NETWEFT_HIDDEN CouchToEsRiverManager::ControlLoop {
 public:
  /// Both must outlive the loop.
  ControlLoop(CouchToEsRiverManager& manager, State& state);

  /// Passes until the manager closes.
  void run();

 private:
  void pass();

  set<string> reconcile() NETWEFT_REQUIRES(mState.mutex);
  void reconcileJob(DbEntry& entry, IndexJob& job, set<string>& toCancel) NETWEFT_REQUIRES(mState.mutex);
  bool mustRestart(const DbEntry& entry, const IndexJob& job) NETWEFT_REQUIRES(mState.mutex);
  void restart(DbEntry& entry, IndexJob& job) NETWEFT_REQUIRES(mState.mutex);
  void endJobsWithoutEntry(set<string>& toCancel) NETWEFT_REQUIRES(mState.mutex);
  void openAndDrain() NETWEFT_REQUIRES(mState.mutex);
  void advance(DbEntry& entry, IndexJob& job) NETWEFT_REQUIRES(mState.mutex);
  bool open(DbEntry& entry, IndexJob& job) NETWEFT_REQUIRES(mState.mutex);
  void drain(DbEntry& entry, IndexJob& job) NETWEFT_REQUIRES(mState.mutex);

  // Without the lock.
  void checkHealth(IndexJob& job);
  void restAndFollowFeeds();
  void reopenEverything();

  CouchToEsRiverManager& mManager;
  State& mState;

  // In the order in which they are built; destroyed the other way round, so feeds end after their jobs, silently.
  http::HttpConnection mEs{true};
  ChangesListener mListener;
  map<string, IndexJob> mJobs;

  /// True while a pass has found nothing to do.
  bool mIdle = true;
};

}  // namespace qx::couch
