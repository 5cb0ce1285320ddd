#pragma once

#include "netweft/base/system/qxMutex.h"
#include "netweft/base/system/qxWaitCondition.h"
#include "netweft/river/CouchToEsRiverManager.h"
#include "netweft/river/internal/DbEntry.h"

namespace qx::couch {

/// What callers, the control thread and the Workers share. The map of databases is the only channel between them.
///
/// Vocabulary. A *generation* counts the changes that callers make to a database's indexes, and is 0 after a failed
/// batch. It repeats: a failure sets 0 and the control thread sets 1 again, and a database removed and added again
/// starts at 1. So every change of a generation, and every restart of a feed, also draws an *epoch*, from one counter
/// that never repeats: a batch may go on only while its entry still has the epoch that it was taken at.
struct NETWEFT_HIDDEN CouchToEsRiverManager::State {
  explicit State(RiverParameters&& given);
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State();

  // Constant after construction.
  const RiverParameters parameters;

  qxMutex mutex;
  qxWaitCondition condition;

  map<string, DbEntry> databases NETWEFT_GUARDED_BY(mutex);
  bool closing NETWEFT_GUARDED_BY(mutex) = false;
  uint64 lastEpoch NETWEFT_GUARDED_BY(mutex) = 0;
  /// Workers that wait for a batch and have transports and buffers from the last one.
  int32 idleWithBundle NETWEFT_GUARDED_BY(mutex) = 0;

  /// The manager is being closed, for good. Raised before the lock is asked for, through `StoreFlag`: it ends the
  /// control thread's transfer in hand, and no Worker takes a batch any more.
  bool closeAsked = false;

  // Constant while threads run; each Worker's own state is guarded by `mutex`.
  vector<unique_ptr<Worker>> workers;

  /// Marks the entry as changed: batches taken before are void.
  void renewEpoch(DbEntry& entry) noexcept NETWEFT_REQUIRES(mutex);

  /// A batch of the entry is lost: no other is taken until the control thread has opened the feed anew, from the
  /// sequence that is stored.
  void fail(DbEntry& entry) noexcept NETWEFT_REQUIRES(mutex);

  /// Takes out an index, and its database with the last one, and returns when no Worker has a batch in hand from
  /// before. Lets go of the mutex while it waits. Allocates nothing: the manager's end comes here.
  void removeIndex(map<string, DbEntry>::iterator database, map<string, IndexEntry>::iterator index)
      NETWEFT_REQUIRES(mutex);

  /// Null when the manager does not have the database.
  DbEntry* findEntry(const string& dbName) NETWEFT_REQUIRES(mutex);

  /// Raises the cancel flag of each Worker on the database; true when there is one.
  bool cancelWorkersOn(const string& dbName) NETWEFT_REQUIRES(mutex);
};

}  // namespace qx::couch
