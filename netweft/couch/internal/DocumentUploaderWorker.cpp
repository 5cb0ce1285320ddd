#include "netweft/couch/internal/DocumentUploaderWorker.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/HttpHelpers.h"

namespace qx::couch {

namespace {

constexpr unsigned char sCreated = 201;

}  // namespace

MultiThreadedDocumentUploader::Worker::Worker(State& state) : WorkerThread(state.pool, "nw-couch-put"), mState(state) {
  http::ConnectionParameters& parameters = mConnection.editConnectionParameters();
  parameters.connectTimeoutSec = 30;
  // A server may take any time to write a large batch, and is silent meanwhile.
  parameters.lowSpeedLimit = 0;
  parameters.lowSpeedTimeSec = 0;
}

impl::WorkerThread::Taking MultiThreadedDocumentUploader::Worker::takeBatch() {
  if (mState.pendingBatch.empty()) return T_Wait;
  mBatch.swap(mState.pendingBatch);
  mState.roomOrEnd.wakeAll();
  return T_Batch;
}

void MultiThreadedDocumentUploader::Worker::serveBatch() {
  mHasFailed = true;  // for an exception, which the loop logs
  mHasFailed = !post();
}

void MultiThreadedDocumentUploader::Worker::finishBatch() {
  mBatch.clear();
  if (mHasFailed) mState.hasError = true;
  mState.roomOrEnd.wakeAll();
}

bool MultiThreadedDocumentUploader::Worker::post() {
  const Url url = mState.server.toDocumentUrl(mState.dbName, "_bulk_docs", {});
  if (http::HttpHelpers::HttpPostJson(mConnection, url, mBatch.data(), mBatch.size(), sCreated)) return true;
  LogError() << "_bulk_docs error " << mConnection.getLastErrorMsg();
  return false;
}

}  // namespace qx::couch
