#pragma once

#include "netweft/base/system/internal/WorkerThread.h"
#include "netweft/elasticsearch/internal/DocumentGetterState.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/internal/JsonPost.h"

namespace qx::elasticsearch {

/// A thread of the getter: one connection for its whole life, one search for each batch.
class NETWEFT_HIDDEN MultiThreadedDocumentGetter::Worker final : public impl::WorkerThread {
 public:
  Worker(MultiThreadedDocumentGetter& getter, State& state);

 private:
  Taking takeBatch() override NETWEFT_REQUIRES(mState.work.jobs.mutex());
  void serveBatch() override;
  void finishBatch() override NETWEFT_REQUIRES(mState.work.jobs.mutex());
  void onEnd() override;

  /// Reports the hits, which leave the batch. False, with the reason in `error`, when the rest of the batch has failed.
  bool fetch(string& error);
  bool post();
  /// Until a stop: each id that is left in the batch.
  void reportRest(const string& error, DocumentResult result);
  void report(const string& id, const string& source, const string& error, DocumentResult result);

  MultiThreadedDocumentGetter& mGetter;
  State& mState;
  http::HttpConnection mConnection{true};
  http::impl::JsonPost mPost;
  impl::ThreadData<MultiThreadedDocumentGetter> mThreadData;

  /// Ids with their types, and how many they were: those that were found leave.
  map<string, string> mBatch;
  uint64 mBatchSize = 0;
  uint64 mReplySize = 0;
  /// As they stood when the batch was taken.
  State::Settings mSettings{};
};

}  // namespace qx::elasticsearch
