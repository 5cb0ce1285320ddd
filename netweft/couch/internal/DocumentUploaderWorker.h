#pragma once

#include "netweft/couch/internal/DocumentUploaderState.h"
#include "netweft/http/HttpConnection.h"

namespace qx::couch {

/// A worker of the uploader: one connection for its whole life, one post for each batch.
class NETWEFT_HIDDEN MultiThreadedDocumentUploader::Worker final : public impl::WorkerThread {
 public:
  explicit Worker(State& state);

 private:
  Taking takeBatch() override;
  void serveBatch() override;
  void finishBatch() override;

  bool post();

  State& mState;
  http::HttpConnection mConnection{true};
  string mBatch;
  bool mHasFailed = false;
};

}  // namespace qx::couch
