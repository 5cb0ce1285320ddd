#pragma once

#include "netweft/base/system/qxTimer.h"
#include "netweft/couch/MultiThreadedDocumentUpdater.h"
#include "netweft/couch/MultiThreadedDocumentUploader.h"

namespace qx::couch {

/// What an updater is. Constant while the getter's threads run, but for `count`.
struct NETWEFT_HIDDEN MultiThreadedDocumentUpdater::State {
  State(const CouchConnectionParameters& givenServer, const string& db, UpdateCallback givenUpdate,
        CreateThreadDataCallback givenCreate, DeleteThreadDataCallback givenDestroy, void* givenUserData,
        uint64 givenBatchSize)
      : dbName(db),
        server(givenServer),
        update(givenUpdate),
        create(givenCreate),
        destroy(givenDestroy),
        userData(givenUserData),
        batchSize(givenBatchSize) {}

  const string dbName;
  const CouchConnectionParameters server;
  /// Marked by the construction, and never again: the rate counts from there.
  const qxTimer timer{true};
  const UpdateCallback update;
  const CreateThreadDataCallback create;
  const DeleteThreadDataCallback destroy;
  void* const userData;
  const uint64 batchSize;
  uint64 count = 0;  ///< documents queued; the host's thread alone

  // The getter's threads use the uploader until they are joined: so the getter is the last made and the first to go.
  unique_ptr<MultiThreadedDocumentUploader> uploader;
  unique_ptr<MultiThreadedDocumentGetter> getter;
};

/// What a reading thread of the updater keeps: the body of its next post, and the host's own data.
struct NETWEFT_HIDDEN MultiThreadedDocumentUpdater::ThreadData {
  ThreadData() : docs(&batch["docs"].editList()) {}
  ThreadData(const ThreadData&) = delete;
  ThreadData& operator=(const ThreadData&) = delete;

  qxVariantMapImpl batch;
  qxVariantListImpl* const docs;  ///< inside `batch`
  void* threadUserData = nullptr;
};

}  // namespace qx::couch
