#include "netweft/river/internal/Worker.h"

#include "netweft/base/system/FormatDuration.h"
#include "netweft/base/system/internal/AssumeHeld.h"
#include "netweft/base/system/internal/FailPoint.h"
#include "netweft/base/system/internal/WorkerThread.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxMutexLocker.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/river/internal/BatchTaking.h"
#include "netweft/river/internal/BulkGenerator.h"
#include "netweft/river/internal/DocumentFetch.h"
#include "netweft/river/internal/FormatRate.h"
#include "netweft/river/internal/HttpBundle.h"
#include "netweft/river/internal/IndexRefresh.h"

#include <algorithm>
#include <exception>

namespace qx::couch {

namespace {

using impl::WorkerThread;

/// How long transports are kept, in seconds, and how long a Worker that has some sleeps, in milliseconds.
constexpr int64 sBundleLifeSec = 60;
constexpr unsigned long sBundleWaitMs = 60000;
/// How long a Worker waits for the index phase before it looks at its database again.
constexpr unsigned long sPhaseWaitMs = 250;

int64 AtLeastOneMs(const qxTimer& timer) { return std::max<int64>(1, timer.getElapsedMs()); }

}  // namespace

CouchToEsRiverManager::Worker::Worker(State& state, uint32 number) : mState(state), mNumber(number) {
  startThread(nullptr);
}

CouchToEsRiverManager::Worker::~Worker() {
  {
    qxMutexLocker lock(mState.mutex, true);
    raiseStop();
    mState.condition.wakeAll();
  }
  waitThread(sNoLimit);
}

void CouchToEsRiverManager::Worker::cancel() { StoreFlag(mCancelFlag, true); }

bool CouchToEsRiverManager::Worker::cancelIfOn(const string& dbName) {
  impl::AssumeHeld(mState.mutex);
  if (mCurrentEpoch == 0 || mCurrentDb != dbName) return false;
  cancel();
  return true;
}

bool CouchToEsRiverManager::Worker::isOn(const string& dbName, uint64 epoch) const {
  impl::AssumeHeld(mState.mutex);
  return mCurrentEpoch != 0 && mCurrentDb == dbName && mCurrentEpoch <= epoch;
}

void CouchToEsRiverManager::Worker::raiseStop() {
  impl::AssumeHeld(mState.mutex);
  cancel();
  mStopFlag = true;
}

void CouchToEsRiverManager::Worker::run() {
  SetCurrentThreadName(("nw-river-w" + qxStringUtils::fromUInt(mNumber, 1)).c_str());
  for (RiverBatch batch; takeBatch(batch); batch = {}) serve(batch);
}

bool CouchToEsRiverManager::Worker::takeBatch(RiverBatch& batch) {
  qxMutexLocker lock(mState.mutex, true);
  for (;;) {
    if (mStopFlag) return false;
    StoreFlag(mCancelFlag, false);
    DbEntry* entry = ReadFlag(mState.closeAsked) ? nullptr : ChooseEntry(mState.databases);
    if (entry == nullptr || leavesBatch()) {
      waitForWork();
    } else if (takeBatchFrom(*entry, batch)) {
      // Those that left this batch may have left another one beside it.
      if (ChooseEntry(mState.databases) != nullptr) mState.condition.wakeAll();
      return true;
    }
  }
}

/// False, with the database failed, when memory runs out: some of its changes may be lost by then.
bool CouchToEsRiverManager::Worker::takeBatchFrom(DbEntry& entry, RiverBatch& batch) {
  try {
    mCurrentDb = entry.dbName;
    batch = TakeBatch(entry, mState.parameters);
  } catch (const std::exception& error) {
    LogError() << "Worker failed to take a batch of db " << entry.dbName << ": " << error.what();
    mState.fail(entry);
    return false;
  }
  mCurrentGeneration = batch.generation;
  mCurrentEpoch = batch.epoch;
  return true;
}

// Whatever makes a batch takeable wakes all Workers, so the one that it is left to comes for it.
bool CouchToEsRiverManager::Worker::leavesBatch() const { return mBundle == nullptr && mState.idleWithBundle > 0; }

void CouchToEsRiverManager::Worker::waitForWork() {
  if (mBundle != nullptr && mBundle->age.isElapsedSec(sBundleLifeSec)) mBundle.reset();
  const int32 counted = mBundle != nullptr ? 1 : 0;
  mState.idleWithBundle += counted;
  mState.condition.wait(&mState.mutex, mBundle != nullptr ? sBundleWaitMs : qxWaitCondition::sNoLimit);
  mState.idleWithBundle -= counted;
}

void CouchToEsRiverManager::Worker::serve(RiverBatch& batch) {
  StepResult result = StepResult::Failed;
  try {
    if (mBundle == nullptr) mBundle = std::make_unique<HttpBundle>(mState.parameters);
    result = runBatch(batch);
  } catch (const std::exception& error) {
    LogError() << "Worker failed on db " << batch.dbName << ": " << error.what();
    // Requests in flight still point at the records of this batch.
    mBundle.reset();
  }
  release(batch, result);
}

StepResult CouchToEsRiverManager::Worker::runBatch(RiverBatch& batch) {
  if (const StepResult result = fetch(batch); result != StepResult::Done) return result;
  impl::PassFailPoint("batch-fetched");
  if (!takeIndexPhase(batch)) return StepResult::Cancelled;
  uint64 commands = 0;
  if (const StepResult result = generate(batch, commands); result != StepResult::Done) return result;
  if (const StepResult result = post(batch, commands); result != StepResult::Done) return result;
  if (batch.records.empty()) return StepResult::Done;
  const uint64 sequence = batch.records.back().getSeq();
  if (batch.refreshNow) {
    if (const StepResult result = refresh(batch, sequence); result != StepResult::Done) return result;
  }
  recordProgress(batch, sequence);
  impl::PassFailPoint("batch-done");
  return StepResult::Done;
}

StepResult CouchToEsRiverManager::Worker::fetch(RiverBatch& batch) {
  LogDetail("esriver") << linePrefix(batch) << "process " << uint64{batch.records.size()} << " docs from seq "
                       << batch.records.front().getSeq() << " to " << batch.records.back().getSeq();
  const qxTimer phase(true);
  if (!FetchDocuments(batch, mState.parameters, mBundle->couch, &mCancelFlag)) {
    return isCancelled() ? StepResult::Cancelled : StepResult::Failed;
  }
  // A budget of 0 would put every batch back for ever.
  list<ChangeRecord> left = TrimBatch(batch, std::max<uint64>(1, mState.parameters.maxBatchBytes));
  if (isCancelled() || !requeue(batch, left)) return StepResult::Cancelled;
  LogDetail("esriver") << linePrefix(batch) << "run " << uint64{batch.records.size()} << " GET @"
                       << FormatRate(batch.records.size(), phase.getElapsedMs()) << "doc/s";
  return StepResult::Done;
}

bool CouchToEsRiverManager::Worker::requeue(const RiverBatch& batch, list<ChangeRecord>& left) {
  if (left.empty()) return true;
  qxMutexLocker lock(mState.mutex, true);
  DbEntry* entry = findStandingEntry(batch);
  if (entry == nullptr) return false;
  RequeueRecords(*entry, left);
  return true;
}

bool CouchToEsRiverManager::Worker::takeIndexPhase(RiverBatch& batch) {
  qxMutexLocker lock(mState.mutex, true);
  DbEntry* entry = findStandingEntry(batch);
  while (entry != nullptr && (entry->phaseFlags & PF_Index) != 0) {
    mState.condition.wait(&mState.mutex, sPhaseWaitMs);
    entry = findStandingEntry(batch);
  }
  if (entry == nullptr) return false;
  entry->phaseFlags = static_cast<unsigned char>((entry->phaseFlags & ~batch.heldPhase) | PF_Index);
  batch.heldPhase = PF_Index;
  mState.condition.wakeAll();
  return true;
}

StepResult CouchToEsRiverManager::Worker::generate(RiverBatch& batch, uint64& commands) {
  const qxTimer phase(true);
  BulkGenerator generator(batch, mState.parameters, mBundle->bodies);
  for (ChangeRecord& record : batch.records) {
    if (isCancelled()) return StepResult::Cancelled;
    if (!generator.generate(record)) return StepResult::Failed;
  }
  commands = generator.getCommandCount();
  const int64 elapsed = phase.getElapsedMs();
  LogDetail("esriver") << linePrefix(batch) << "generate " << commands << " cmds @" << FormatRate(commands, elapsed)
                       << "cmd/s, " << generator.getGeneratedBytes() << "B @"
                       << FormatRate(generator.getGeneratedBytes(), elapsed) << "B/s";
  return StepResult::Done;
}

StepResult CouchToEsRiverManager::Worker::post(const RiverBatch& batch, uint64 commands) {
  const qxTimer phase(true);
  for (size_t i = 0; i < batch.indexes.size(); ++i) {
    const StepResult result = PostBulk(mBundle->es, mState.parameters.es, batch.indexes[i].name, mBundle->bodies[i],
                                       batch.reservedBytes, &mCancelFlag);
    if (result != StepResult::Done) return result;
    impl::PassFailPoint("bulk-posted");
  }
  LogDetail("esriver") << linePrefix(batch) << "index @" << FormatRate(commands, phase.getElapsedMs()) << "cmd/s";
  return StepResult::Done;
}

StepResult CouchToEsRiverManager::Worker::refresh(const RiverBatch& batch, uint64 sequence) {
  const qxTimer phase(true);
  for (const BatchIndex& index : batch.indexes) {
    const StepResult result = RefreshIndex(mBundle->es, mState.parameters.es, index, sequence, &mCancelFlag);
    if (result != StepResult::Done) return result;
    impl::PassFailPoint("sequence-stored");
  }
  LogDetail("esriver") << linePrefix(batch) << "refresh in " << FormatDuration(AtLeastOneMs(phase), 1, false)
                       << ", write seq " << sequence;
  return StepResult::Done;
}

void CouchToEsRiverManager::Worker::recordProgress(const RiverBatch& batch, uint64 sequence) {
  qxMutexLocker lock(mState.mutex, true);
  DbEntry* entry = findStandingEntry(batch);
  if (entry == nullptr) return;
  for (auto& [name, index] : entry->indexes) index.lastRefreshSeq = sequence;
}

void CouchToEsRiverManager::Worker::release(const RiverBatch& batch, StepResult result) {
  // A cancelled batch is no failure, whatever it ran into on its way out.
  if (isCancelled()) {
    WorkerThread::Guard([&] { LogDetail("esriver") << linePrefix(batch) << "job canceled"; });
    result = StepResult::Cancelled;
  }
  qxMutexLocker lock(mState.mutex, true);
  DbEntry* entry = mState.findEntry(batch.dbName);
  if (entry != nullptr && entry->identity == batch.entryIdentity) {
    entry->phaseFlags = static_cast<unsigned char>(entry->phaseFlags & ~batch.heldPhase);
    if (result == StepResult::TooLarge) ShrinkBatches(*entry, batch.records.size());
    if (result == StepResult::Done) GrowBatches(*entry, mState.parameters);
    if (result == StepResult::Failed || result == StepResult::TooLarge) mState.fail(*entry);
  }
  mCurrentDb.clear();
  mCurrentGeneration = 0;
  mCurrentEpoch = 0;
  mState.condition.wakeAll();
}

DbEntry* CouchToEsRiverManager::Worker::findStandingEntry(const RiverBatch& batch) {
  if (isCancelled()) return nullptr;
  DbEntry* entry = mState.findEntry(batch.dbName);
  if (entry == nullptr || entry->generation != batch.generation || entry->epoch != batch.epoch) return nullptr;
  return entry;
}

bool CouchToEsRiverManager::Worker::isCancelled() const { return ReadFlag(mCancelFlag); }

string CouchToEsRiverManager::Worker::linePrefix(const RiverBatch& batch) const {
  return batch.dbName + " w" + qxStringUtils::fromUInt(mNumber, 1) + " => ";
}

}  // namespace qx::couch
