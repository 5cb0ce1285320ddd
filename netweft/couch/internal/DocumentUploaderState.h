#pragma once

#include "netweft/base/system/internal/WorkerPool.h"
#include "netweft/couch/MultiThreadedDocumentUploader.h"

#include <atomic>

namespace qx::couch {

/// What an uploader is: one slot, between the producers and the pool's threads.
struct NETWEFT_HIDDEN MultiThreadedDocumentUploader::State {
  State(const CouchConnectionParameters& givenServer, const string& db) : server(givenServer), dbName(db) {}

  /// Nothing waits, and no post is out.
  bool isDone() const noexcept NETWEFT_REQUIRES(pool.mutex) { return pendingBatch.empty() && !pool.isAnyBusy(); }

  // Constant.
  const CouchConnectionParameters& server;
  const string dbName;

  string pendingBatch NETWEFT_GUARDED_BY(pool.mutex);  ///< empty: none

  /// Written with the pool's mutex held; never false again.
  std::atomic<bool> hasError{false};

  /// Producers and those who wait for the end sleep on it, with the pool's mutex. Always woken with `wakeAll`: they
  /// wait for different things, and a single wake could go to one that it does not concern.
  qxWaitCondition roomOrEnd;

  impl::WorkerPool pool;
};

}  // namespace qx::couch
