#include "netweft/couch/MultiThreadedDocumentUploader.h"

#include "netweft/base/system/internal/AssumeHeld.h"
#include "netweft/base/system/internal/PollUntilDone.h"
#include "netweft/couch/internal/DocumentUploaderState.h"
#include "netweft/couch/internal/DocumentUploaderWorker.h"

namespace qx::couch {

namespace {

constexpr unsigned long sPollMs = 250;

}  // namespace

MultiThreadedDocumentUploader::MultiThreadedDocumentUploader(const CouchConnectionParameters& server, const string& db,
                                                             unsigned int threadCount)
    : mState(std::make_unique<State>(server, db)) {
  mState->pool.start(threadCount, [this] { return std::make_unique<Worker>(*mState); });
}

MultiThreadedDocumentUploader::~MultiThreadedDocumentUploader() = default;

bool MultiThreadedDocumentUploader::sendBatch(string& batch) {
  if (mState->hasError) return false;
  qxMutexLocker lock(mState->pool.mutex, true);
  while (!mState->pendingBatch.empty()) {
    if (mState->hasError) return false;
    mState->roomOrEnd.wait(&mState->pool.mutex, qxWaitCondition::sNoLimit);
  }
  if (mState->hasError) return false;
  batch.swap(mState->pendingBatch);
  lock.unlock();
  mState->pool.wake.wakeOne();
  return true;
}

bool MultiThreadedDocumentUploader::waitForEnd(const bool* cancelFlag) {
  const auto isDone = [this] {
    impl::AssumeHeld(mState->pool.mutex);
    return mState->isDone();
  };
  const auto dropPending = [this] {
    impl::AssumeHeld(mState->pool.mutex);
    if (mState->pendingBatch.empty()) return;
    mState->pendingBatch.clear();
    mState->roomOrEnd.wakeAll();  // a blocked producer has room now, and no worker will come by to tell it
  };
  impl::PollUntilDone(mState->pool.mutex, mState->roomOrEnd, sPollMs, cancelFlag, isDone, dropPending);
  return !mState->hasError;
}

}  // namespace qx::couch
