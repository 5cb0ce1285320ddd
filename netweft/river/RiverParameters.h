#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/couch/ChangesListener.h"
#include "netweft/couch/CouchConnectionParameters.h"
#include "netweft/elasticsearch/ESConnectionParameters.h"

namespace qx::couch {

/// What a host sets once for a whole `CouchToEsRiverManager`: the two servers, the limits, the callbacks. A plain value
/// with no lock; the manager keeps a copy of its own for its whole life.
struct NETWEFT_EXPORT RiverParameters {
  /// Decides whether a document goes into an index: false leaves it out of that one. It takes nothing out: a document
  /// that was let in before stays there as it was, until it is deleted. It gets the document as it was parsed; what it
  /// changes there has no effect on what is sent.
  ///
  /// It runs on Worker threads, without any lock of the manager's, for different databases at the same time.
  using DocumentFilter = bool (*)(qxVariantMapImpl& document, const string& indexName);

  /// Sees every message of every change feed before the manager acts on it. It runs on the manager's control thread,
  /// without any lock of the manager's. `param` lives for the call. Nothing else reports a database that does not exist
  /// or credentials that are refused.
  using ChangesCallback = void (*)(ChangesListener::CallbackMsg message, const ChangesListener::CallbackParam& param,
                                   void* context);

  /// Worker threads; a value under 1 counts as 1. Two at most serve one database at the same time.
  int32 workerCount = 6;

  /// Documents that each Worker fetches at the same time.
  int32 maxParallelGets = 16;

  /// Changes that a Worker takes from a queue for one batch; a value under 1 counts as 1.
  int32 maxDocsPerBatch = 7500;

  /// Longest time in seconds between two index refreshes while changes keep coming. With 0 each batch is refreshed.
  int32 refreshPeriodSec = 60;

  /// The change feed of a database is paused while more changes than this wait for a Worker.
  int32 maxQueuedChanges = 250000;

  /// Budget of one batch in bytes of bulk commands, which bounds what a Worker holds in memory; 100 MiB. A document
  /// that needs as much by itself is never indexed and leaves an error line.
  uint32 maxBatchBytes = 104857600;

  /// Null lets every document into every index.
  DocumentFilter documentFilter = nullptr;

  /// Null when the host does not care.
  ChangesCallback changesCallback = nullptr;

  /// The third argument of `changesCallback`. It stays the host's and must outlive the manager.
  void* changesCallbackContext = nullptr;

  /// The CouchDB server.
  CouchConnectionParameters couch;

  /// The Elasticsearch server.
  elasticsearch::ESConnectionParameters es;
};

}  // namespace qx::couch
