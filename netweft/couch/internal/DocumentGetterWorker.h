#pragma once

#include "netweft/base/system/internal/WorkerThread.h"
#include "netweft/couch/internal/DocumentGetterState.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/internal/JsonPost.h"

namespace qx::couch {

/// A worker of the getter: one connection for its whole life, one request for each batch.
class NETWEFT_HIDDEN MultiThreadedDocumentGetter::Worker final : public impl::WorkerThread {
 public:
  Worker(MultiThreadedDocumentGetter& getter, State& state);

 private:
  Taking takeBatch() override NETWEFT_REQUIRES(mState.work.jobs.mutex());
  void serveBatch() override;
  void finishBatch() override NETWEFT_REQUIRES(mState.work.jobs.mutex());
  void onEnd() override;

  /// False with the reason in `error`.
  bool fetch(qxVariantMapImpl& answer, string& error);
  bool post(qxVariantMapImpl& answer);
  void deliver(const string& id, qxVariantMapImpl& doc, const string& error, DocumentResult result);
  void deliverFailure(const string& error);

  MultiThreadedDocumentGetter& mGetter;
  State& mState;
  http::HttpConnection mConnection{true};
  http::impl::JsonPost mPost;
  impl::ThreadData<MultiThreadedDocumentGetter> mThreadData;
  set<string> mBatch;

  // As they stood when the batch was taken.
  State::Settings mSettings{};
  DocContent mContent = DC_IdAndRev;
};

}  // namespace qx::couch
