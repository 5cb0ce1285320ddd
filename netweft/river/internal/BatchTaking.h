#pragma once

#include "netweft/river/RiverParameters.h"
#include "netweft/river/internal/DbEntry.h"
#include "netweft/river/internal/RiverBatch.h"

/// How a Worker gets its batch. Everything here runs with the manager's lock held.
namespace qx::couch {

/// The database to serve next: no Worker fetching for it, something in its queue, opened since its epoch was renewed,
/// and the longest time since its last batch; the last in key order among equals. Null when there is none.
DbEntry* ChooseEntry(map<string, DbEntry>& databases);

/// Moves the head of the entry's queue into a new batch, takes the entry's fetch phase and decides whether this batch
/// ends with a refresh: always when it drains the queue, otherwise once per refresh period.
RiverBatch TakeBatch(DbEntry& entry, const RiverParameters& parameters);

/// Puts records that left a batch back at the head of the queue, in their order. A newer change of the same document
/// that has come meanwhile stays and wins.
void RequeueRecords(DbEntry& entry, list<ChangeRecord>& records);

/// A batch failed because its text outgrew the byte budget: the same batch would fail again for ever. The database's
/// next batches hold at most half as many documents as the failed one, down to one.
void ShrinkBatches(DbEntry& entry, uint64 failedBatchSize);

/// A batch succeeded: after some successes in a row each one doubles the limit, until it is back at the parameters'
/// own. Growing at once would fail every other batch of a database of large documents, and each failure costs a minute.
void GrowBatches(DbEntry& entry, const RiverParameters& parameters);

}  // namespace qx::couch
