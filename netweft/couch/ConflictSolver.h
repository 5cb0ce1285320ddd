#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxThread.h"
#include "netweft/couch/ResolveConflictRequest.h"

namespace qx::couch {

/// Removes the conflicting revisions from CouchDB databases, in the background. It DELETES every losing revision that
/// the request's view lists; what is worth keeping of them, the request's resolver merges into the winner. The winner
/// is always the revision that CouchDB itself has chosen, and is never deleted, whatever the view says.
///
///   ConflictSolver solver(4, 1000, 50);
///   ResolveConflictRequest request;
///   request.fromEncodedUtf8String("http://127.0.0.1:5984", nullptr, false);
///   request.dbName = "packages";
///   request.viewPath = {"_design", "conflicts", "_view", "all"};
///   request.resolver = Merge;
///   request.onFinished = Tell;
///   solver.requestResolveConflicts(request);
///
/// Requests queue by the name of their database and are served one at a time, the lowest name first. A manager thread
/// reads the view in slices; workers take the documents, read all listed versions, and post the deletions and the
/// winner's new revision, which always gets a new number, in one `_bulk_docs` for each batch. The view is read again
/// until it lists nothing.
///
/// What one document can rely on: nothing is posted for it unless its winner is the one that the view listed; and its
/// entries are posted together or not at all, also after a cancel and in the destructor. `_bulk_docs` is no
/// transaction, though: the server takes or refuses each entry by itself. When another writer changes the winner
/// between the reading and the post, the losers go, and the merged content is refused and lost. A host that cannot bear
/// that keeps writers away meanwhile, or keeps the losers' content elsewhere.
///
/// A document that cannot be solved stays listed, and the request goes on, reading the view about once a second, until
/// it is cancelled: one that the view lists with an outdated winner, for example, or whose new revision the server
/// refuses as a conflict. Errors (a view that cannot be read or has malformed rows, requests that fail, documents that
/// are refused) are logged, and end the request as cancelled; but the last word is the view's: if it lists nothing any
/// more, the request has completed. A view that only times out is asked again for two hours, counted from its first
/// time-out, which may have been that of an earlier request that was cancelled meanwhile.
///
/// Threads: one manager and `workerCount` workers, started by the constructor. All operations may be called from any
/// thread, also from the callbacks, but not with `wait` there. Connections live only while there is something to do.
///
/// What outlives what: requests are copied; their callbacks and user data must live until `onFinished`, and without one
/// until the request is over. The destructor must not run in a callback. It cancels everything, calls no `onFinished`,
/// and waits for the workers: for the requests in flight, a post among them, which end by themselves or after ten
/// seconds without a byte.
class NETWEFT_EXPORT ConflictSolver : public qxThread {
 public:
  /// Starts the threads. `workerCount` 0 counts as 1. `viewLimit` is the most documents that one reading of the view
  /// brings, at least 1: with 0 every request completes at once and nothing is solved. `workerBatch` is the most
  /// documents that a worker takes, and so in one post; 0 counts as 1. Throws std::system_error when the system gives
  /// no manager thread or not a single worker.
  ConflictSolver(unsigned long long workerCount, unsigned long long viewLimit, unsigned long long workerBatch);
  ~ConflictSolver() override;

  /// Queues a request; one without a database name is ignored. It replaces one that waits for the same database, which
  /// gets no `onFinished`. While that database is being served, it waits behind.
  void requestResolveConflicts(const ResolveConflictRequest& request);

  /// Drops the request that waits for `db`, without its `onFinished`, and cancels the one that is being served if it is
  /// for `db`. With `wait` it blocks until the request that is being served has ended, whichever that is.
  ///
  /// An error that ends a request does the same, and so does the end of a reading that was cancelled: a request that
  /// waits for the same database goes with it. So file the next one for a database when the cancelled one has ended.
  void cancelRequest(const string& db, bool wait);

  /// The same for all databases.
  void cancelAllRequests(bool wait);

 protected:
  /// The manager thread.
  void run() override;

 private:
  class Manager;
  class Worker;
  struct State;

  void waitForCurrent();

  unique_ptr<State> mState;
};

}  // namespace qx::couch
