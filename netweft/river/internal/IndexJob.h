#pragma once

#include "netweft/base/system/qxTimer.h"
#include "netweft/couch/ChangesListener.h"
#include "netweft/river/RiverParameters.h"
#include "netweft/river/internal/ChangeRecord.h"

namespace qx::couch {

/// What the feed of a database last did.
enum FeedState : int32 {
  FS_None = 0,
  FS_Starting = 1,
  FS_Listening = 2,
  FS_Change = 3,
  FS_Stopped = 4,  ///< stopped or failed
};

/// The control thread's record of one database. Of that thread alone: its feed callback runs there too.
///
///   closed      `seenGeneration` 0, `retryTimer` unmarked
///   open        `seenGeneration` and `seenEpoch` are the entry's
///   back-off    `retryTimer` marked: for a minute nothing happens on the job
struct IndexJob {
  IndexJob(const RiverParameters& given, string name) : parameters(&given), dbName(std::move(name)) {}

  const RiverParameters* parameters;
  /// Mark of the last health check.
  qxTimer healthTimer{true};
  /// Mark of the back-off.
  qxTimer retryTimer{false};
  FeedState feedState = FS_None;
  /// Filled by the feed callback, drained into the entry's queue.
  list<ChangeRecord> pendingChanges;
  string dbName;
  /// Current creation descriptor by index name.
  map<string, string> descriptors;
  /// The `generation` and the epoch for which the feed stands open; 0: closed.
  uint64 seenGeneration = 0;
  uint64 seenEpoch = 0;
  /// Reopen under the back-off rule.
  bool needsReopen = false;
  /// Start the back-off at the next opening.
  bool delayReopen = false;
};

/// The feed callback; `job` is an `IndexJob`. Hands the message to the host first.
void OnChangeMessage(ChangesListener::CallbackMsg message, const ChangesListener::CallbackParam& param, void* job);

}  // namespace qx::couch
