#pragma once

#include "netweft/base/system/internal/JobPool.h"
#include "netweft/base/system/internal/ThreadData.h"
#include "netweft/couch/MultiThreadedDocumentGetter.h"

#include <atomic>

namespace qx::couch {

struct NETWEFT_HIDDEN MultiThreadedDocumentGetter::State {
  using ThreadDataCallbacks = impl::ThreadDataCallbacks<MultiThreadedDocumentGetter>;

  struct Settings {
    DocumentCallback callback;
    void* userData;
  };

  State(const CouchConnectionParameters& givenServer, const string& db, const Settings& settings,
        const ThreadDataCallbacks& callbacks, unsigned int givenBatchSize, DocContent content)
      : server(givenServer),
        dbName(db),
        threadDataCallbacks(callbacks),
        batchSize(givenBatchSize),
        docContent(content),
        work(settings) {}
  State(const State& source)
      : server(source.server),
        dbName(source.dbName),
        threadDataCallbacks(source.threadDataCallbacks),
        batchSize(source.batchSize),
        docContent(source.docContent.load()),
        work(source.work) {}
  State& operator=(const State&) = delete;

  // Constant.
  const CouchConnectionParameters& server;
  const string dbName;
  const ThreadDataCallbacks threadDataCallbacks;
  const uint64 batchSize;

  std::atomic<DocContent> docContent;

  /// Last: its workers are joined before anything above dies.
  impl::JobPool<set<string>, Settings> work;
};

}  // namespace qx::couch
