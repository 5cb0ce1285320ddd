#include "netweft/couch/internal/ConflictSolverManager.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/internal/WorkerThread.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/couch/internal/ConflictSettler.h"
#include "netweft/http/HttpHelpers.h"

namespace qx::couch {

namespace {

constexpr int64 sRetrySec = 7200;
constexpr unsigned long sRequestPollMs = 1000;
constexpr unsigned long sCancelPollMs = 50;

}  // namespace

// An exception (no memory) costs the request, not the thread.
void ConflictSolver::Manager::run() {
  for (bool isRunning = true; isRunning;) {
    bool isThrough = false;
    impl::WorkerThread::Guard([&] {
      isRunning = step();
      isThrough = true;
    });
    if (isThrough) continue;
    const qxMutexLocker lock(mState.requestMutex, true);
    if (mState.current != nullptr) mState.cancelHeld(mState.current->dbName);
  }
}

bool ConflictSolver::Manager::step() {
  qxMutexLocker lock(mState.requestMutex, true);
  if (ReadFlag(mState.stopFlag)) return false;
  if (mState.current == nullptr) {
    beginNextOrWait();
    return true;
  }
  if (!prepareReading()) return true;
  lock.unlock();
  const bool hadError = ReadFlag(mState.errorFlag);
  qxVariantMapImpl answer;
  const Reading reading = readView(answer);
  lock.lock();
  if (reading == R_TimedOut) {
    mState.requestCondition.wait(&mState.requestMutex, sRequestPollMs);
  } else {
    takeIn(reading, hadError, answer);
  }
  return true;
}

bool ConflictSolver::Manager::prepareReading() {
  if (ReadFlag(mState.cancelFlag)) {
    goOnCancelling();
    return false;
  }
  if (isTimeToRead()) return true;
  mState.requestCondition.wait(&mState.requestMutex, sRequestPollMs);
  return false;
}

void ConflictSolver::Manager::beginNextOrWait() {
  if (mState.pending.empty()) {
    mConnection.reset();
    mState.requestCondition.wait(&mState.requestMutex, qxWaitCondition::sNoLimit);
    return;
  }
  const auto first = mState.pending.begin();
  auto request = std::make_shared<const ResolveConflictRequest>(first->second);
  mState.pending.erase(first);
  StoreFlag(mState.cancelFlag, false);
  StoreFlag(mState.errorFlag, false);
  const qxMutexLocker jobLock(mState.pool.mutex, true);
  mState.documentsDone = 0;
  mState.current = std::move(request);
}

void ConflictSolver::Manager::goOnCancelling() {
  qxMutexLocker jobLock(mState.pool.mutex, true);
  mState.jobs.clear();
  const bool isBusy = mState.pool.isAnyBusy();
  const uint64 done = mState.documentsDone;
  jobLock.unlock();
  if (isBusy) {
    mState.requestCondition.wait(&mState.requestMutex, sCancelPollMs);
  } else {
    finish(0, done);
  }
}

// After a full slice the jobs are refilled while the workers are at work; after a short one everything is finished
// first.
bool ConflictSolver::Manager::isTimeToRead() {
  const qxMutexLocker jobLock(mState.pool.mutex, true);
  if (mLastReadWasFull && mState.jobs.size() < mState.viewLimit / 2) return true;
  return mState.jobs.empty() && !mState.pool.isAnyBusy();
}

ConflictSolver::Manager::Reading ConflictSolver::Manager::readView(qxVariantMapImpl& answer) {
  if (mConnection == nullptr) mConnection = std::make_unique<http::HttpConnection>(true);
  if (!mRetryTimer.isTimeSnapped()) mRetryTimer.snapTime();
  const ResolveConflictRequest& request = *mState.current;  // this thread alone replaces it
  vector<string> segments = {request.dbName};
  segments.insert(segments.end(), request.viewPath.begin(), request.viewPath.end());
  const string limit = qxStringUtils::fromUInt64(mState.viewLimit, 1);
  const Url url = ToConflictUrl(request, segments, {{"include_docs", "false"}, {"limit", limit}});

  string text;
  if (http::HttpHelpers::HttpGetJson(*mConnection, url, text, nullptr, nullptr, nullptr, &mState.cancelFlag) &&
      json::Json2Variant::Convert(text.data(), text.size(), answer)) {
    mRetryTimer.clearTime();
    return R_Rows;
  }
  const bool isTimeout = mConnection->isLastCallTimedOut();
  if (isTimeout && !mRetryTimer.isElapsedSec(sRetrySec)) return R_TimedOut;
  mRetryTimer.clearTime();
  if (isTimeout) {
    LogError() << "Timeout while fetching conflict view of database " << request.dbName;
  } else {
    LogError() << "Error while fetching conflict view of database " << request.dbName << " "
               << mConnection->getLastErrorMsg();
  }
  return R_Failed;
}

void ConflictSolver::Manager::takeIn(Reading reading, bool hadError, qxVariantMapImpl& answer) {
  const qxMutexLocker jobLock(mState.pool.mutex, true);
  const bool isRead = reading == R_Rows && TakeConflictRows(answer, mState.current->dbName, mState.jobs);
  mLastReadWasFull = mState.jobs.size() >= mState.viewLimit;
  if (!mState.jobs.empty()) {
    mState.pool.wake.wakeAll();
  } else if (isRead && !mState.pool.isAnyBusy()) {
    finish(1, mState.documentsDone);  // whatever errors went before it
    return;
  }
  if (hadError || !isRead) mState.cancelHeld(mState.current->dbName);
}

void ConflictSolver::Manager::finish(int completed, uint64 documentsDone) {
  if (mState.current->onFinished != nullptr) {
    impl::WorkerThread::Guard([&] { mState.current->onFinished(completed, documentsDone, *mState.current); });
  }
  mState.current.reset();
}

}  // namespace qx::couch
