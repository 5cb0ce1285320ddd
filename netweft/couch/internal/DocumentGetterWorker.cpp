#include "netweft/couch/internal/DocumentGetterWorker.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/couch/internal/AllDocsRows.h"
#include "netweft/couch/internal/ViewRequest.h"

#include <exception>

namespace qx::couch {

namespace {

StringPairList QueryFor(MultiThreadedDocumentGetter::DocContent content) {
  StringPairList query;
  if (content != MultiThreadedDocumentGetter::DC_IdAndRev) query.emplace_back("include_docs", "true");
  if (content == MultiThreadedDocumentGetter::DC_DocumentWithAttachments) query.emplace_back("attachments", "true");
  return query;
}

}  // namespace

MultiThreadedDocumentGetter::Worker::Worker(MultiThreadedDocumentGetter& getter, State& state)
    : WorkerThread(state.work.pool, "nw-couch-get"), mGetter(getter), mState(state) {
  http::impl::JsonPost::MakePatient(mConnection.editConnectionParameters());
}

impl::WorkerThread::Taking MultiThreadedDocumentGetter::Worker::takeBatch() {
  if (mState.work.jobs.isEmptyHeld()) return T_Wait;
  mState.work.jobs.takeHeld(mBatch, mState.batchSize);
  mSettings = mState.work.settings;
  mContent = mState.docContent;
  return mBatch.empty() ? T_Again : T_Batch;  // a batch size of 0 takes nothing, for ever
}

void MultiThreadedDocumentGetter::Worker::serveBatch() {
  if (isStopRequested() || mSettings.callback == nullptr) return;
  mThreadData.make(mState.threadDataCallbacks, mGetter, mSettings.userData);
  qxVariantMapImpl answer;
  string error;
  if (!fetch(answer, error)) {
    deliverFailure(error);
    return;
  }
  DeliverAllDocsRows(answer, mContent,
                     [this](const string& id, qxVariantMapImpl& doc, const string& rowError, DocumentResult result) {
                       deliver(id, doc, rowError, result);
                     });
}

void MultiThreadedDocumentGetter::Worker::finishBatch() {
  mState.work.jobs.finishHeld(mBatch.size());
  mBatch.clear();
}

void MultiThreadedDocumentGetter::Worker::onEnd() {
  mThreadData.destroy(mState.threadDataCallbacks, mGetter, mState.work.copySettings().userData);
}

// What cannot be done for want of memory is a failed request: the host is told for each id.
bool MultiThreadedDocumentGetter::Worker::fetch(qxVariantMapImpl& answer, string& error) {
  try {
    if (post(answer)) return true;
    error = mConnection.getLastErrorMsg();
  } catch (const std::exception& exception) {
    error = exception.what();
  }
  return false;
}

bool MultiThreadedDocumentGetter::Worker::post(qxVariantMapImpl& answer) {
  const vector<string> ids(mBatch.begin(), mBatch.end());
  if (const unique_ptr<bytes> keys = BuildKeysBody(&ids)) mPost.body = std::move(*keys);
  const Url url = mState.server.toDocumentUrl(mState.dbName, "_all_docs", QueryFor(mContent));
  if (!mPost.perform(mConnection, url)) return false;
  const string response = std::move(mPost.response);
  if (!json::Json2Variant::Convert(response.data(), response.size(), answer)) answer.clear();
  return true;
}

void MultiThreadedDocumentGetter::Worker::deliver(const string& id, qxVariantMapImpl& doc, const string& error,
                                                  DocumentResult result) {
  Guard([&] { mSettings.callback(mGetter, id, doc, error, result, mSettings.userData, mThreadData.get()); });
}

void MultiThreadedDocumentGetter::Worker::deliverFailure(const string& error) {
  for (const string& id : mBatch) {
    if (isStopRequested()) return;
    qxVariantMapImpl none;
    deliver(id, none, error, DR_RequestFailed);
  }
}

}  // namespace qx::couch
