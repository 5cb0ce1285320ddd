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
  mState->work.pool.start(threadCount, [this] { return std::make_unique<Worker>(*this, *mState); });
}

MultiThreadedDocumentGetter::MultiThreadedDocumentGetter(const MultiThreadedDocumentGetter& source)
    : mState(std::make_unique<State>(*source.mState)) {}

// The threads are joined while `mState` is still whole: their last callbacks may call this getter.
MultiThreadedDocumentGetter::~MultiThreadedDocumentGetter() { mState->work.stop(); }

void MultiThreadedDocumentGetter::addJobs(const vector<string>& ids) {
  const qxMutexLocker lock(mState->work.jobs.mutex(), true);
  if (!mState->work.jobs.isCancelledHeld()) mState->work.jobs.addAllHeld(ids);
}

bool MultiThreadedDocumentGetter::setCallback(DocumentCallback callback, void* userData) {
  return mState->work.replaceSettings({callback, userData});
}

MultiThreadedDocumentGetter::DocContent MultiThreadedDocumentGetter::getIncludeDocContent() const noexcept {
  return mState->docContent;
}

void MultiThreadedDocumentGetter::setIncludeDocContent(DocContent content) noexcept { mState->docContent = content; }

void MultiThreadedDocumentGetter::cancel() { mState->work.jobs.cancel(); }

bool MultiThreadedDocumentGetter::waitUntilAllJobsAreDone(const bool* cancelFlag) {
  return mState->work.jobs.waitUntilAllDone(cancelFlag);
}

}  // namespace qx::couch
