#pragma once

#include "netweft/base/system/internal/WorkerThread.h"
#include "netweft/couch/internal/DocumentUploaderState.h"
#include "netweft/http/HttpConnection.h"

namespace qx::couch {

/// A worker of the uploader: one connection for its whole life, one post for each batch.
class NETWEFT_HIDDEN MultiThreadedDocumentUploader::Worker final : public impl::WorkerThread {
 public:
  explicit Worker(State& state);

 private:
  Taking takeBatch() override NETWEFT_REQUIRES(mState.pool.mutex);
  void serveBatch() override;
  void finishBatch() override NETWEFT_REQUIRES(mState.pool.mutex);

  bool post();

  State& mState;
  http::HttpConnection mConnection{true};
  string mBatch;
  bool mHasFailed = false;
};

}  // namespace qx::couch
