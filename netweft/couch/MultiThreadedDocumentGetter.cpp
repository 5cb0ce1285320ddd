#include "netweft/couch/MultiThreadedDocumentGetter.h"

#include "netweft/couch/internal/DocumentGetterState.h"
#include "netweft/couch/internal/DocumentGetterWorker.h"

namespace qx::couch {

MultiThreadedDocumentGetter::MultiThreadedDocumentGetter(const CouchConnectionParameters& server, const string& db,
                                                         DocumentCallback callback, void* userData,
                                                         ThreadDataCallback createThreadData,
                                                         ThreadDataCallback deleteThreadData, unsigned int threadCount,
                                                         unsigned int batchSize, DocContent content)
    : mState(std::make_unique<State>(server, db, State::Settings{callback, userData},
                                     State::ThreadDataCallbacks(createThreadData, deleteThreadData), batchSize,
                                     content)) {
  mState->pool.start(threadCount, [this] { return std::make_unique<Worker>(*this, *mState); });
}

MultiThreadedDocumentGetter::MultiThreadedDocumentGetter(const MultiThreadedDocumentGetter& source)
    : mState(std::make_unique<State>(*source.mState)) {}

// The threads are joined while `mState` is still whole: their last callbacks may call this getter.
MultiThreadedDocumentGetter::~MultiThreadedDocumentGetter() {
  if (mState->ownPool != nullptr) mState->ownPool->stop();
}

void MultiThreadedDocumentGetter::addJobs(const vector<string>& ids) {
  const qxMutexLocker lock(mState->pool.mutex, true);
  if (mState->jobs.isCancelledHeld()) return;
  mState->pool.wake.wakeAll();  // ahead of the rest, so that what is added before memory runs out gets served
  for (const string& id : ids) mState->jobs.addHeld(id);
}

bool MultiThreadedDocumentGetter::setCallback(DocumentCallback callback, void* userData) {
  const qxMutexLocker lock(mState->pool.mutex, true);
  if (!mState->jobs.areAllDoneHeld()) return false;
  mState->settings = {callback, userData};
  return true;
}

MultiThreadedDocumentGetter::DocContent MultiThreadedDocumentGetter::getIncludeDocContent() const noexcept {
  return mState->docContent;
}

void MultiThreadedDocumentGetter::setIncludeDocContent(DocContent content) noexcept { mState->docContent = content; }

void MultiThreadedDocumentGetter::cancel() { mState->jobs.cancel(); }

bool MultiThreadedDocumentGetter::waitUntilAllJobsAreDone(const bool* cancelFlag) {
  return mState->jobs.waitUntilAllDone(cancelFlag);
}

}  // namespace qx::couch
