#include "netweft/couch/MultiThreadedDocumentUpdater.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/FormatDuration.h"
#include "netweft/base/system/internal/WorkerThread.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/couch/internal/ChangeListing.h"
#include "netweft/couch/internal/DocumentUpdaterState.h"

namespace qx::couch {

MultiThreadedDocumentUpdater::MultiThreadedDocumentUpdater(const CouchConnectionParameters& server, const string& db,
                                                           UpdateCallback update, CreateThreadDataCallback create,
                                                           DeleteThreadDataCallback destroy, void* userData,
                                                           unsigned int threadCount, unsigned int batchSize)
    : mState(std::make_unique<State>(server, db, update, create, destroy, userData, batchSize)) {
  const unsigned int threads = threadCount / 2;  // each pool takes 0 for 1
  mState->uploader = std::make_unique<MultiThreadedDocumentUploader>(mState->server, db, threads);
  mState->getter = std::make_unique<MultiThreadedDocumentGetter>(
      mState->server, db, OnGetDocumentCallback, this, CreateThreadData, DeleteThreadData, threads, batchSize,
      MultiThreadedDocumentGetter::DC_DocumentWithAttachments);
}

MultiThreadedDocumentUpdater::~MultiThreadedDocumentUpdater() {
  const bool cancel = true;
  waitForAllUpdate(&cancel);
}

bool MultiThreadedDocumentUpdater::applyOnEntireDb(const bool* cancelFlag) {
  ChangeListing listing(mState->server, mState->dbName);
  if (!listing.start()) return false;
  vector<string> ids;
  while (!ReadFlag(cancelFlag)) {
    const ChangeListing::Step step = listing.next(ids);
    if (step != ChangeListing::LS_Ids) return step == ChangeListing::LS_End;
    queueDocuments(ids);
  }
  return true;
}

bool MultiThreadedDocumentUpdater::waitForAllUpdate(const bool* cancelFlag) {
  if (mState->getter == nullptr) return false;
  mState->getter->waitUntilAllJobsAreDone(cancelFlag);
  mState->getter.reset();  // its threads send what they have left over
  mState->uploader->waitForEnd(cancelFlag);
  mState->uploader.reset();
  const int64 elapsedMs = mState->timer.getElapsedMs();
  const uint64 rate = elapsedMs < 1 ? 0 : mState->count * 1000 / static_cast<uint64>(elapsedMs);
  LogDetail("couchdb") << "Update " << mState->count << " doc(s) of " << mState->dbName << " in "
                       << FormatDuration(elapsedMs, 1, false) << " (" << rate << " docs/sec)";
  return true;
}

void MultiThreadedDocumentUpdater::queueDocuments(const vector<string>& ids) {
  if (mState->getter == nullptr) return;
  mState->count += ids.size();
  mState->getter->addJobs(ids);
}

void MultiThreadedDocumentUpdater::sendBatch(const qxVariantMapImpl& batch) {
  string text;
  json::Json2Variant::Convert(batch, text, false);
  mState->uploader->sendBatch(text);  // one that is refused is lost: the post that failed before it was logged
}

void MultiThreadedDocumentUpdater::CreateThreadData(MultiThreadedDocumentGetter&, void* updater, void*& threadData) {
  const State& state = *static_cast<MultiThreadedDocumentUpdater*>(updater)->mState;
  auto data = std::make_unique<ThreadData>();
  if (state.create != nullptr) data->threadUserData = state.create(state.userData);
  threadData = data.release();
}

// The batch goes out also when it is empty: a thread that was used ends with a post.
void MultiThreadedDocumentUpdater::DeleteThreadData(MultiThreadedDocumentGetter&, void* updater, void*& threadData) {
  MultiThreadedDocumentUpdater& self = *static_cast<MultiThreadedDocumentUpdater*>(updater);
  const unique_ptr<ThreadData> data(static_cast<ThreadData*>(threadData));
  threadData = nullptr;
  impl::WorkerThread::Guard([&] { self.sendBatch(data->batch); });
  // The host's function gets the updater where one would expect the user data.
  if (self.mState->destroy != nullptr) self.mState->destroy(updater, data->threadUserData);
}

// Rows that failed are handed on too, as empty maps: the host is told to pass over them.
void MultiThreadedDocumentUpdater::OnGetDocumentCallback(MultiThreadedDocumentGetter&, const string&,
                                                         qxVariantMapImpl& doc, const string&,
                                                         MultiThreadedDocumentGetter::DocumentResult, void* updater,
                                                         void* threadData) {
  MultiThreadedDocumentUpdater& self = *static_cast<MultiThreadedDocumentUpdater*>(updater);
  ThreadData& data = *static_cast<ThreadData*>(threadData);
  if (!self.mState->update(doc, self.mState->userData, data.threadUserData)) return;
  data.docs->push_back(qxVariant()).editMap().swap(doc);
  if (data.docs->size() <= self.mState->batchSize) return;  // so a full batch holds one more than `batchSize`
  self.sendBatch(data.batch);
  data.docs->clear();
}

}  // namespace qx::couch
