#pragma once

#include "netweft/base/system/qxThread.h"
#include "netweft/river/CouchToEsRiverManager.h"
#include "netweft/river/internal/BulkPosting.h"
#include "netweft/river/internal/RiverBatch.h"
#include "netweft/river/internal/RiverState.h"

namespace qx::couch {

struct HttpBundle;

/// Takes batches of changes from the databases' queues and brings them into the indexes: fetch, trim, generate, post,
/// refresh, record. Two Workers may serve one database at a time, one fetching the next batch while the other indexes
/// the last; the phase bits of the database keep the batches in the order of its queue.
///
/// The manager's lock is held only to take a batch, to put records back, to change the phase and to release; no request
/// runs under it. An exception on this thread fails the batch in hand.
class NETWEFT_HIDDEN CouchToEsRiverManager::Worker final : public qxThread {
 public:
  /// `state` must outlive the Worker. `number` counts from 1 and stands in log lines.
  Worker(State& state, uint32 number);
  /// Cancels the batch in hand, stops and joins.
  ~Worker() override;

  /// The four below are called with the manager's lock held.

  /// Gives up the batch in hand, if there is one.
  void cancel();
  /// Raises the cancel flag if the Worker has a batch of the database in hand; true if so.
  bool cancelIfOn(const string& dbName);
  /// True while the Worker has a batch of the database that was taken at that epoch or before.
  bool isOn(const string& dbName, uint64 epoch) const;
  void raiseStop();

 protected:
  void run() override;

 private:
  /// False when the Worker is to end.
  bool takeBatch(RiverBatch& batch);
  bool takeBatchFrom(DbEntry& entry, RiverBatch& batch) NETWEFT_REQUIRES(mState.mutex);
  /// True when a batch is better left to a Worker that waits beside this one: its connections are open, and its buffers
  /// have their size. So two Workers serve a database, and not each in turn, whose buffers would add up.
  bool leavesBatch() const NETWEFT_REQUIRES(mState.mutex);
  void waitForWork() NETWEFT_REQUIRES(mState.mutex);
  void serve(RiverBatch& batch);

  StepResult runBatch(RiverBatch& batch);
  StepResult fetch(RiverBatch& batch);
  bool requeue(const RiverBatch& batch, list<ChangeRecord>& left);
  bool takeIndexPhase(RiverBatch& batch);
  StepResult generate(RiverBatch& batch, uint64& commands);
  StepResult post(const RiverBatch& batch, uint64 commands);
  StepResult refresh(const RiverBatch& batch, uint64 sequence);
  void recordProgress(const RiverBatch& batch, uint64 sequence);

  void release(const RiverBatch& batch, StepResult result);

  /// The entry that the batch came from, null when the batch is void or cancelled.
  DbEntry* findStandingEntry(const RiverBatch& batch) NETWEFT_REQUIRES(mState.mutex);
  bool isCancelled() const;
  /// "<db> w<number> => ", the opening of each detail line.
  string linePrefix(const RiverBatch& batch) const;

  State& mState;
  const uint32 mNumber;

  string mCurrentDb NETWEFT_GUARDED_BY(mState.mutex);
  uint64 mCurrentGeneration NETWEFT_GUARDED_BY(mState.mutex) = 0;
  /// 0 while no batch is in hand.
  uint64 mCurrentEpoch NETWEFT_GUARDED_BY(mState.mutex) = 0;
  bool mStopFlag NETWEFT_GUARDED_BY(mState.mutex) = false;

  /// Written with the lock held, read without, both through qxFlag.h.
  bool mCancelFlag = false;

  // Of this thread alone.
  unique_ptr<HttpBundle> mBundle;
};

}  // namespace qx::couch
