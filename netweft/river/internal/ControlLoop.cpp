#include "netweft/river/internal/ControlLoop.h"

#include "netweft/base/system/internal/FailPoint.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxMutexLocker.h"
#include "netweft/river/internal/IndexHealth.h"
#include "netweft/river/internal/IndexLifecycle.h"

#include <exception>

namespace qx::couch {

namespace {

/// Stall limits towards Elasticsearch: bytes per second, seconds.
constexpr int32 sEsStallBytes = 1;
constexpr int32 sEsStallSec = 45;

/// Arguments of a feed, in seconds.
constexpr long sFeedConnectTimeoutSec = 10;
constexpr long sFeedHeartbeatSec = 30;
constexpr long sFeedReconnectDelaySec = 1;

constexpr int64 sBackOffSec = 60;
constexpr int64 sHealthPeriodSec = 30;

/// The pace of a pass with nothing to do, in milliseconds.
constexpr unsigned long sIdleWaitMs = 200;
constexpr int sFollowMs = 100;

}  // namespace

CouchToEsRiverManager::ControlLoop::ControlLoop(CouchToEsRiverManager& manager, State& state)
    : mManager(manager), mState(state), mListener(state.parameters.couch) {
  mEs.editConnectionParameters().lowSpeedLimit = sEsStallBytes;
  mEs.editConnectionParameters().lowSpeedTimeSec = sEsStallSec;
}

void CouchToEsRiverManager::ControlLoop::run() {
  for (;;) {
    {
      qxMutexLocker lock(mState.mutex, true);
      if (mState.closing) return;
    }
    try {
      pass();
    } catch (const std::exception& error) {
      LogError() << "River control thread failed: " << error.what();
      reopenEverything();
    }
  }
}

void CouchToEsRiverManager::ControlLoop::pass() {
  qxMutexLocker lock(mState.mutex, true);
  const set<string> toCancel = reconcile();
  if (!toCancel.empty()) {
    mIdle = false;
    lock.unlock();
    for (const string& dbName : toCancel) mManager.cancelJobAndWait(dbName);
    return;
  }
  openAndDrain();
  lock.unlock();
  for (auto& [name, job] : mJobs) checkHealth(job);
  restAndFollowFeeds();
}

set<string> CouchToEsRiverManager::ControlLoop::reconcile() {
  set<string> toCancel;
  for (auto& [name, entry] : mState.databases) {
    IndexJob& job = mJobs.try_emplace(name, mState.parameters, entry.dbName).first->second;
    reconcileJob(entry, job, toCancel);
  }
  endJobsWithoutEntry(toCancel);
  // In the same hold of the lock: a Worker that goes on meanwhile would bring a batch to its end that is void.
  for (const string& dbName : toCancel) mState.cancelWorkersOn(dbName);
  return toCancel;
}

void CouchToEsRiverManager::ControlLoop::reconcileJob(DbEntry& entry, IndexJob& job, set<string>& toCancel) {
  std::erase_if(job.descriptors, [&entry](const auto& item) { return !entry.indexes.contains(item.first); });
  if (entry.generation == 0) {
    entry.generation = 1;
    job.needsReopen = true;
  }
  if (!mustRestart(entry, job)) return;
  restart(entry, job);
  toCancel.insert(job.dbName);
}

bool CouchToEsRiverManager::ControlLoop::mustRestart(const DbEntry& entry, const IndexJob& job) {
  if (job.needsReopen) return true;
  const bool same = job.seenGeneration == entry.generation && job.seenEpoch == entry.epoch;
  if (job.seenGeneration == 0 || same) return false;
  return !job.pendingChanges.empty() || !entry.queue.empty() || mListener.isListeningDb(job.dbName);
}

void CouchToEsRiverManager::ControlLoop::restart(DbEntry& entry, IndexJob& job) {
  // A reopen that a caller has asked for does not wait; one after a failure does.
  job.delayReopen = job.needsReopen;
  if (!job.needsReopen) job.retryTimer.clearTime();
  job.needsReopen = false;
  job.pendingChanges.clear();
  entry.queue.clear();
  job.seenGeneration = 0;
  job.seenEpoch = 0;
  mState.renewEpoch(entry);
  mListener.stopListeningDb(job.dbName);
}

void CouchToEsRiverManager::ControlLoop::endJobsWithoutEntry(set<string>& toCancel) {
  for (auto job = mJobs.begin(); job != mJobs.end();) {
    if (mState.findEntry(job->first) != nullptr) {
      ++job;
      continue;
    }
    mListener.stopListeningDb(job->first);
    toCancel.insert(job->first);
    job = mJobs.erase(job);
  }
}

void CouchToEsRiverManager::ControlLoop::openAndDrain() {
  for (auto& [name, job] : mJobs) advance(*mState.findEntry(name), job);
}

void CouchToEsRiverManager::ControlLoop::advance(DbEntry& entry, IndexJob& job) {
  if (job.retryTimer.isTimeSnapped()) {
    if (job.retryTimer.isElapsedSec(sBackOffSec)) job.retryTimer.clearTime();
    return;
  }
  if (job.delayReopen) {
    job.retryTimer.snapTime();
    job.delayReopen = false;
  }
  if (job.seenGeneration != entry.generation || job.seenEpoch != entry.epoch) {
    if (!open(entry, job)) return;
  } else if (!job.pendingChanges.empty()) {
    drain(entry, job);
  }
  mListener.pauseListeningDb(job.dbName, static_cast<int64>(entry.queue.size()) > mState.parameters.maxQueuedChanges);
}

bool CouchToEsRiverManager::ControlLoop::open(DbEntry& entry, IndexJob& job) {
  mIdle = false;
  job.pendingChanges.clear();
  entry.queue.clear();
  uint64 sequence = 0;
  const bool* cancelFlag = &mState.closeAsked;
  if (!ensureIndexes(mEs, entry, mState.parameters, &sequence, job.descriptors, cancelFlag)) {
    if (!ReadFlag(cancelFlag)) LogError() << "Fail to create/update index " << job.dbName;
    job.needsReopen = true;
    return false;
  }
  LogDetail("esriver") << job.dbName << " => Start listening changefeed from " << sequence;
  mListener.startListeningDb(job.dbName, static_cast<int64>(sequence), OnChangeMessage, &job,
                             ChangesListener::RC_ChangesOnly, sFeedConnectTimeoutSec, sFeedHeartbeatSec,
                             sFeedReconnectDelaySec);
  job.seenGeneration = entry.generation;
  job.seenEpoch = entry.epoch;
  entry.openedEpoch = entry.epoch;
  job.healthTimer.snapTime();
  impl::PassFailPoint("feed-opened");
  return true;
}

void CouchToEsRiverManager::ControlLoop::drain(DbEntry& entry, IndexJob& job) {
  mIdle = false;
  list<ChangeRecord>& pending = job.pendingChanges;
  while (!pending.empty()) {
    ChangeRecord& newest = pending.front();
    const auto [element, inserted] =
        entry.queue.insert(pending, pending.begin(), entry.queue.end(), ChangeQueue::IM_Move);
    if (inserted) continue;
    element->id = std::move(newest.id);
    element->rev = newest.rev;
    element->seqAndDeleted = newest.seqAndDeleted;
    pending.pop_front();
  }
  impl::PassFailPoint("changes-queued");
}

void CouchToEsRiverManager::ControlLoop::checkHealth(IndexJob& job) {
  // The mark is set after each checked index, so one index of each database is checked per period: the first.
  for (const auto& [indexName, descriptor] : job.descriptors) {
    if (job.seenGeneration == 0 || !job.healthTimer.isElapsedSec(sHealthPeriodSec)) continue;
    if (!IsIndexHealthy(mEs, mState.parameters.es, indexName, descriptor, &mState.closeAsked)) {
      job.needsReopen = true;
      mIdle = false;
    }
    job.healthTimer.snapTime();
  }
}

void CouchToEsRiverManager::ControlLoop::restAndFollowFeeds() {
  {
    qxMutexLocker lock(mState.mutex, true);
    if (mIdle && !mState.closing) {
      mState.condition.wait(&mState.mutex, sIdleWaitMs);
    } else {
      mIdle = true;
      mState.condition.wakeAll();
    }
  }
  mListener.updateListener(sFollowMs);
}

void CouchToEsRiverManager::ControlLoop::reopenEverything() {
  // A change may have been lost on the way to its queue: the stored sequences bring it back.
  for (auto& [name, job] : mJobs) job.needsReopen = true;
  // What failed may fail again at once.
  qxMutexLocker lock(mState.mutex, true);
  if (!mState.closing) mState.condition.wait(&mState.mutex, sIdleWaitMs);
}

}  // namespace qx::couch
