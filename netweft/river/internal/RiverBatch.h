#pragma once

#include "netweft/base/system/qxTypes.h"
#include "netweft/river/internal/ChangeRecord.h"

namespace qx::couch {

/// One index as a batch knows it: its name, and the physical creation that the batch is meant for.
struct BatchIndex {
  string name;
  string creationDescriptor;
};

/// Changes that a Worker has taken from a database's queue, and what it must know to finish them without the lock.
struct RiverBatch {
  string dbName;
  uint64 generation = 0;
  uint64 epoch = 0;
  /// Which `DbEntry` of that name the batch came from: a database removed and added again has another one, whose phase
  /// bits are not ours to clear.
  uint64 entryIdentity = 0;
  vector<BatchIndex> indexes;
  list<ChangeRecord> records;
  bool refreshNow = false;
  /// `PhaseFlag` bits of the database that this batch's Worker holds.
  unsigned char heldPhase = 0;
  /// Sum of the records' `commandBytes`: what the bulk body of one index may hold.
  uint64 reservedBytes = 0;
};

}  // namespace qx::couch
