#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/couch/CouchConnectionParameters.h"

namespace qx::couch {

/// What a `ConflictSolver` is asked for: one database and the view that lists its conflicts. The base names the server;
/// a query that its URL has is kept in every request.
struct NETWEFT_EXPORT ResolveConflictRequest : CouchConnectionParameters {
  /// Merges the versions of one document. `versions` holds the winner first and then each losing revision, in the
  /// view's order, attachments as stubs; it may be changed or taken apart. What it puts into `result`, which comes
  /// empty, becomes the winner's next revision when it returns true; "_id" and "_rev" are put in for it. False: the
  /// winner's content stays as it is. Either way the losing revisions are deleted.
  ///
  /// An EMPTY MAP among `versions` is a losing revision that could not be read: the server does not have it (any more),
  /// or the request failed. It is deleted like the others. To keep it, throw: an exception is logged, leaves the whole
  /// document untouched, and makes the request end as a failed one.
  ///
  /// Attachments of the winner stay only if `result` has their stubs; a stub of another version cannot be used.
  ///
  /// Runs on a worker thread, on several at once, with no lock held. It may file and cancel requests, without waiting.
  using Resolver = bool (*)(list<qxVariantMapImpl>& versions, qxVariantMapImpl& result,
                            const ResolveConflictRequest& request);

  /// Tells that the request has ended: `completed` 1 when the view listed nothing any more, 0 when it was cancelled or
  /// had to be given up. `documentsDone` counts the documents of all batches that were posted, so also those that were
  /// skipped or refused in them, and one listed twice twice.
  ///
  /// Runs on the manager thread WITH THE SOLVER'S LOCKS HELD: every other call of the solver waits meanwhile, so it
  /// should be brief. It may file requests, also for the same database, and cancel without waiting; waiting for another
  /// thread that calls the solver, or for the solver itself, never ends.
  using OnFinished = void (*)(int completed, uint64 documentsDone, const ResolveConflictRequest& request);

  /// The database, and the name of the request.
  string dbName;
  /// Path segments of the view below the database: "_design", "conflicts", "_view", "all". It must emit one row for
  /// each document in conflict, with the document as "id" and, as "value", a list of revisions, the current winner
  /// first:
  ///
  ///   function (doc) { if (doc._conflicts) emit(null, [doc._rev].concat(doc._conflicts)); }
  vector<string> viewPath;
  /// Null: the winner's content stays.
  Resolver resolver = nullptr;
  /// Null: nobody is told.
  OnFinished onFinished = nullptr;
  /// The host's, untouched.
  void* userData = nullptr;
};

}  // namespace qx::couch
