#include "netweft/elasticsearch/internal/DocumentGetterWorker.h"

#include "netweft/elasticsearch/internal/SearchBody.h"
#include "netweft/elasticsearch/internal/WorkerResultParser.h"

#include <algorithm>
#include <exception>

namespace qx::elasticsearch {

MultiThreadedDocumentGetter::Worker::Worker(MultiThreadedDocumentGetter& getter, State& state)
    : WorkerThread(state.work.pool, "nw-es-get"), mGetter(getter), mState(state) {
  http::impl::JsonPost::MakePatient(mConnection.editConnectionParameters());
}

impl::WorkerThread::Taking MultiThreadedDocumentGetter::Worker::takeBatch() {
  if (mState.work.jobs.isEmptyHeld()) return T_Wait;
  const uint64 share = mState.work.jobs.countUndoneHeld() / mState.work.pool.size();
  mState.work.jobs.takeHeld(mBatch, std::max<uint64>(1, std::min(mState.maxBatch, share)));
  mBatchSize = mBatch.size();
  mSettings = mState.work.settings;
  return T_Batch;
}

void MultiThreadedDocumentGetter::Worker::serveBatch() {
  if (isStopRequested() || mSettings.callback == nullptr) return;
  mThreadData.make(mState.threadDataCallbacks, mGetter, mSettings.context);
  string error;
  if (fetch(error)) {
    reportRest("missing", DR_Missing);
  } else {
    reportRest(error, DR_Error);
  }
}

void MultiThreadedDocumentGetter::Worker::finishBatch() {
  mState.bytesReceived += mReplySize;
  mState.work.jobs.finishHeld(mBatchSize);
  mReplySize = 0;
  mBatch.clear();
}

void MultiThreadedDocumentGetter::Worker::onEnd() {
  mThreadData.destroy(mState.threadDataCallbacks, mGetter, mState.work.copySettings().context);
}

// What cannot be done for want of memory is a failed request: the host is told for each id.
bool MultiThreadedDocumentGetter::Worker::fetch(string& error) {
  try {
    if (post()) return true;
    error = mConnection.getLastErrorMsg();
  } catch (const std::exception& exception) {
    error = exception.what();
  }
  return false;
}

bool MultiThreadedDocumentGetter::Worker::post() {
  mPost.body = BuildSearchBody(mBatch, mState.sourceFields);
  if (!mPost.perform(mConnection, mState.es.toUrl("_search", {}))) return false;
  const string reply = std::move(mPost.response);
  mReplySize = reply.size();
  WorkerResultParser parser(mBatch,
                            [this](const string& id, const string& source) { report(id, source, {}, DR_Found); });
  parser.read(reply);
  return true;
}

void MultiThreadedDocumentGetter::Worker::reportRest(const string& error, DocumentResult result) {
  for (const auto& [id, type] : mBatch) {
    if (isStopRequested()) return;
    report(id, {}, error, result);
  }
}

void MultiThreadedDocumentGetter::Worker::report(const string& id, const string& source, const string& error,
                                                 DocumentResult result) {
  Guard([&] { mSettings.callback(mGetter, id, source, error, result, mSettings.context, mThreadData.get()); });
}

}  // namespace qx::elasticsearch
