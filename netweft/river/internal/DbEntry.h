#pragma once

#include "netweft/base/system/qxTimer.h"
#include "netweft/river/internal/ChangeQueue.h"
#include "netweft/river/internal/IndexEntry.h"

namespace qx::couch {

/// The bits of `DbEntry::phaseFlags`. One Worker can fetch the next batch of a database while another indexes the last.
enum PhaseFlag : unsigned char {
  PF_Fetch = 1,  ///< a Worker holds the fetch phase
  PF_Index = 2,  ///< a Worker holds the index phase
};

/// The manager's record of one database, from its first `addIndex` to the `removeIndex` of its last index. Everything
/// here is guarded by the manager's lock. It moves and is not copied.
struct DbEntry {
  string dbName;

  /// By index name.
  map<string, IndexEntry> indexes;

  /// Changes that wait for a Worker.
  ChangeQueue queue;

  /// Raised by each `addIndex` and `removeIndex` that touches the entry; set to 0 by a Worker's failure and from there
  /// to 1 by the control thread. So its values repeat, and telling two openings apart needs `epoch`.
  uint64 generation = 0;

  /// `qxSystemUtils::GetTimeBaseSec()` at the last batch.
  int64 lastRunSec = 0;

  /// Marked at the last decision to refresh. Never marked counts as long ago.
  qxTimer refreshTimer{false};

  /// `PhaseFlag` bits.
  unsigned char phaseFlags = 0;

  /// Drawn from one counter of the manager that never repeats, and renewed whenever the batches in hand must not count
  /// any more: by `addIndex`, `removeIndex`, a failed batch and a restart. A Worker compares it beside `generation`.
  uint64 epoch = 0;

  /// The epoch in which the control thread has opened the feed. While it is another one no batch is taken: the queue
  /// still holds what came behind the changes of a batch that has failed, and a sequence that is stored behind them
  /// would lose them.
  uint64 openedEpoch = 0;

  /// Tells this entry from an earlier or later one of the same database: the epoch that it was made with. A batch may
  /// outlive its entry, and must not clear the phase bits of the next one.
  uint64 identity = 0;

  /// Documents that the next batch may hold, after a batch failed because it was too large in bytes; 0 means no limit
  /// beyond `maxDocsPerBatch`. See `ShrinkBatches` and `GrowBatches`.
  uint64 batchDocLimit = 0;
  /// Batches that must succeed before the limit grows again.
  uint64 successesBeforeGrowth = 0;
};

}  // namespace qx::couch
