#pragma once

#include "netweft/base/system/internal/JobPool.h"
#include "netweft/base/system/internal/ThreadData.h"
#include "netweft/elasticsearch/MultiThreadedDocumentGetter.h"

namespace qx::elasticsearch {

struct NETWEFT_HIDDEN MultiThreadedDocumentGetter::State {
  using ThreadDataCallbacks = impl::ThreadDataCallbacks<MultiThreadedDocumentGetter>;

  struct Settings {
    DocumentCallback callback;
    void* context;
  };

  State(const ESConnectionParameters& server, const Settings& settings, const ThreadDataCallbacks& callbacks,
        unsigned int givenMaxBatch, const qxVariant& fields)
      : es(server), threadDataCallbacks(callbacks), maxBatch(givenMaxBatch), sourceFields(fields), work(settings) {}
  /// With the lock of the source's pool held.
  State(const State& source) = default;
  State& operator=(const State&) = delete;

  // Constant.
  const ESConnectionParameters& es;
  const ThreadDataCallbacks threadDataCallbacks;
  const uint64 maxBatch;
  const qxVariant sourceFields;

  uint64 bytesReceived NETWEFT_GUARDED_BY(work.jobs.mutex()) = 0;

  /// Last: its workers are joined before anything above dies.
  impl::JobPool<map<string, string>, Settings> work;
};

}  // namespace qx::elasticsearch
