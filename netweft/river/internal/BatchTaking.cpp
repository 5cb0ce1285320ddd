#include "netweft/river/internal/BatchTaking.h"

#include "netweft/base/system/qxSystemUtils.h"

#include <algorithm>

namespace qx::couch {

namespace {

/// Successes at the reduced size before batches grow again.
constexpr uint64 sSuccessesBeforeGrowth = 16;

uint64 MaxDocsPerBatch(const RiverParameters& parameters) {
  return static_cast<uint64>(std::max(1, parameters.maxDocsPerBatch));
}

uint64 BatchSizeOf(const DbEntry& entry, const RiverParameters& parameters) {
  const uint64 wanted = MaxDocsPerBatch(parameters);
  return entry.batchDocLimit == 0 ? wanted : std::min(wanted, entry.batchDocLimit);
}

bool DecideRefresh(DbEntry& entry, const RiverParameters& parameters) {
  const bool refresh = entry.queue.empty() || entry.refreshTimer.isElapsedSec(parameters.refreshPeriodSec);
  if (refresh) entry.refreshTimer.snapTime();
  return refresh;
}

}  // namespace

DbEntry* ChooseEntry(map<string, DbEntry>& databases) {
  DbEntry* chosen = nullptr;
  for (auto& [name, entry] : databases) {
    if ((entry.phaseFlags & PF_Fetch) != 0 || entry.queue.empty() || entry.epoch != entry.openedEpoch) continue;
    if (chosen == nullptr || entry.lastRunSec <= chosen->lastRunSec) chosen = &entry;
  }
  return chosen;
}

RiverBatch TakeBatch(DbEntry& entry, const RiverParameters& parameters) {
  entry.lastRunSec = qxSystemUtils::GetTimeBaseSec();
  RiverBatch batch;
  batch.dbName = entry.dbName;
  batch.generation = entry.generation;
  batch.epoch = entry.epoch;
  batch.entryIdentity = entry.identity;
  for (const auto& [name, index] : entry.indexes) batch.indexes.push_back({name, index.creationDescriptor});

  const uint64 size = BatchSizeOf(entry, parameters);
  while (batch.records.size() < size && !entry.queue.empty()) {
    entry.queue.popFront(batch.records);
    batch.records.back().action = CA_Pending;
  }
  batch.refreshNow = DecideRefresh(entry, parameters);
  batch.heldPhase = PF_Fetch;
  entry.phaseFlags = static_cast<unsigned char>(entry.phaseFlags | PF_Fetch);
  return batch;
}

void RequeueRecords(DbEntry& entry, list<ChangeRecord>& records) {
  const ChangeQueue::Position head = entry.queue.begin();
  while (!records.empty()) {
    ChangeRecord& record = records.front();
    bytes().swap(record.body);
    record.commandBytes = 0;
    if (!entry.queue.insert(records, records.begin(), head, ChangeQueue::IM_Leave).inserted) records.pop_front();
  }
}

void ShrinkBatches(DbEntry& entry, uint64 failedBatchSize) {
  entry.batchDocLimit = std::max<uint64>(1, failedBatchSize / 2);
  entry.successesBeforeGrowth = sSuccessesBeforeGrowth;
}

void GrowBatches(DbEntry& entry, const RiverParameters& parameters) {
  if (entry.batchDocLimit == 0) return;
  if (entry.successesBeforeGrowth > 0) {
    --entry.successesBeforeGrowth;
    return;
  }
  entry.batchDocLimit *= 2;
  if (entry.batchDocLimit >= MaxDocsPerBatch(parameters)) entry.batchDocLimit = 0;
}

}  // namespace qx::couch
