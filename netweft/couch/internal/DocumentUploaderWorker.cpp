#include "netweft/couch/internal/DocumentUploaderWorker.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/http/internal/HttpStatus.h"

namespace qx::couch {

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
  return T_Batch;
}

void MultiThreadedDocumentUploader::Worker::serveBatch() {
  mState.roomOrEnd.wakeAll();  // the slot has been empty since takeBatch; woken under the lock, producers would meet it
  mHasFailed = true;           // for an exception, which the loop logs
  mHasFailed = !post();
}

void MultiThreadedDocumentUploader::Worker::finishBatch() {
  mBatch.clear();
  if (mHasFailed) mState.hasError = true;
  // A finished post makes no room: it concerns producers only when it failed, and others only when it was the last.
  if (mHasFailed || mState.isDone()) mState.roomOrEnd.wakeAll();
}

bool MultiThreadedDocumentUploader::Worker::post() {
  const Url url = mState.server.toDocumentUrl(mState.dbName, "_bulk_docs", {});
  if (http::HttpHelpers::HttpPostJson(mConnection, url, mBatch.data(), mBatch.size(), http::sHttpCreated)) return true;
  LogError() << "_bulk_docs error " << mConnection.getLastErrorMsg();
  return false;
}

}  // namespace qx::couch
