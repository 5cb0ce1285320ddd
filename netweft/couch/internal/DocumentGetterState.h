#pragma once

#include "netweft/base/system/internal/JobQueue.h"
#include "netweft/base/system/internal/ThreadData.h"
#include "netweft/couch/MultiThreadedDocumentGetter.h"

#include <atomic>

namespace qx::couch {

/// What a getter is. A copy's state points at the pool of its source and owns none.
struct MultiThreadedDocumentGetter::State {
  using ThreadDataCallbacks = impl::ThreadDataCallbacks<MultiThreadedDocumentGetter>;

  /// What one batch is fetched with, as it stood when the batch was taken.
  struct Settings {
    DocumentCallback callback;
    void* userData;
  };

  State(const CouchConnectionParameters& givenServer, const string& db, Settings givenSettings,
        ThreadDataCallbacks callbacks, unsigned int givenBatchSize, DocContent content)
      : ownPool(std::make_unique<impl::WorkerPool>()),
        pool(*ownPool),
        server(givenServer),
        dbName(db),
        threadDataCallbacks(callbacks),
        batchSize(givenBatchSize),
        jobs(pool),
        settings(givenSettings),
        docContent(content) {}

  State(const State& source) : State(source, qxMutexLocker(source.pool.mutex, true)) {}
  State& operator=(const State&) = delete;
  /// For a constructor that failed: otherwise the getter has stopped the pool already.
  ~State() {
    if (ownPool != nullptr) ownPool->stop();
  }

  const unique_ptr<impl::WorkerPool> ownPool;
  impl::WorkerPool& pool;

  // Constant.
  const CouchConnectionParameters& server;
  const string dbName;
  const ThreadDataCallbacks threadDataCallbacks;
  const uint64 batchSize;

  // Guarded by the pool's mutex.
  impl::JobQueue<set<string>> jobs;
  Settings settings;

  std::atomic<DocContent> docContent;

 private:
  State(const State& source, const qxMutexLocker&)
      : pool(source.pool),
        server(source.server),
        dbName(source.dbName),
        threadDataCallbacks(source.threadDataCallbacks),
        batchSize(source.batchSize),
        jobs(source.jobs),
        settings(source.settings),
        docContent(source.docContent.load()) {}
};

}  // namespace qx::couch
