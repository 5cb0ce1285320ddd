#include "netweft/elasticsearch/MultiThreadedDocumentGetter.h"

#include "netweft/elasticsearch/internal/DocumentGetterState.h"
#include "netweft/elasticsearch/internal/DocumentGetterWorker.h"

namespace qx::elasticsearch {

MultiThreadedDocumentGetter::MultiThreadedDocumentGetter(const ESConnectionParameters& es, DocumentCallback callback,
                                                         void* context, ThreadDataCallback initCallback,
                                                         ThreadDataCallback exitCallback, unsigned int threads,
                                                         unsigned int maxBatch, const qxVariant& sourceFields)
    : mState(std::make_unique<State>(es, State::Settings{callback, context},
                                     State::ThreadDataCallbacks(initCallback, exitCallback), maxBatch, sourceFields)) {
  mState->work.pool.start(threads, [this] { return std::make_unique<Worker>(*this, *mState); });
}

MultiThreadedDocumentGetter::MultiThreadedDocumentGetter(const MultiThreadedDocumentGetter& source) {
  const qxMutexLocker lock(source.mState->work.pool.mutex, true);
  mState = std::make_unique<State>(*source.mState);
}

// The threads are joined while `mState` is still whole: their last callbacks may call this getter.
MultiThreadedDocumentGetter::~MultiThreadedDocumentGetter() { mState->work.stop(); }

void MultiThreadedDocumentGetter::addJobs(const map<string, string>& idToType) {
  const qxMutexLocker lock(mState->work.jobs.mutex(), true);
  mState->work.jobs.addAllHeld(idToType);
}

void MultiThreadedDocumentGetter::addJob(const string& id, const string& type) { addJobs({{id, type}}); }

bool MultiThreadedDocumentGetter::setCallback(DocumentCallback callback, void* context) {
  return mState->work.replaceSettings({callback, context});
}

void MultiThreadedDocumentGetter::cancel() { mState->work.jobs.cancel(); }

bool MultiThreadedDocumentGetter::waitUntilAllJobsAreDone(const bool* cancelFlag, uint64* bytesReceived) {
  const bool isWhole = mState->work.jobs.waitUntilAllDone(cancelFlag);
  if (bytesReceived != nullptr) {
    const qxMutexLocker lock(mState->work.jobs.mutex(), true);
    *bytesReceived = mState->bytesReceived;
  }
  return isWhole;
}

}  // namespace qx::elasticsearch
