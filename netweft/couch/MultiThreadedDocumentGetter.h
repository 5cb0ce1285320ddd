#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/couch/CouchConnectionParameters.h"

namespace qx::couch {

/// Fetches many documents of one CouchDB database by their ids, with several threads. Waiting ids are kept sorted; each
/// thread takes up to a batch of them, asks the server for all of it with one request, and hands each row of the answer
/// to one callback.
///
///   MultiThreadedDocumentGetter getter(server, "packages", OnDocument, &host, nullptr, nullptr, 4, 100,
///                                      MultiThreadedDocumentGetter::DC_Document);
///   getter.addJobs(ids);
///   getter.waitUntilAllJobsAreDone(nullptr);
///
/// Threads: `threadCount` workers, started by the constructor and joined by the destructor. Callbacks run on the worker
/// threads, several at once, with no lock of the getter's held; all calls of one thread come one after the other.
/// `threadData` is that thread's alone, everything else that they touch is the host's to guard. `addJobs`, `cancel` and
/// `setCallback` may be called from any thread, also from inside a callback; so may the two for the content.
/// `waitUntilAllJobsAreDone` may be called from any thread but the workers', where it would wait for itself.
///
/// What outlives what: the server's parameters are not copied and must outlive the getter; so must the callbacks and
/// the user data. The destructor must not run in a callback. It tells each worker in turn to stop and waits for it: for
/// a request in flight, which nothing cuts short but its time limits (30 s to connect, 1,200 s below 10 bytes a
/// second), and for the callbacks of the answer. Ids that still wait are dropped without a callback.
///
/// An id that was added gets one callback, with these exceptions: dropped by `cancel` or by the destructor; asked for
/// while no callback is set; not answered by the server, or answered with something that is no row, which is silent.
///
/// Nothing is logged, but for an exception that a callback throws: it is logged as an error and costs no other id its
/// callback. Nothing is tried twice. Memory: one answer for each thread, which the batch size bounds, and the ids.
class NETWEFT_EXPORT MultiThreadedDocumentGetter {
 public:
  /// What is fetched of each document.
  enum DocContent : int32 {
    DC_IdAndRev = 0,                 ///< a map with "_id" and "_rev" alone
    DC_Document = 1,                 ///< the document
    DC_DocumentWithAttachments = 2,  ///< the document with the data of its attachments, as base64
  };

  /// What came of one id.
  enum DocumentResult : int32 {
    DR_Found = 0,          ///< the server has, or had, the document
    DR_RequestFailed = 1,  ///< the request for the whole batch failed, or memory ran out over this id; `error` tells
    DR_DocumentError = 2,  ///< the server answered with an error for this id, in its words: "not_found"
  };

  /// Gets one document. `id` is the key as the server gave it back. `doc` may be changed, or its content taken away
  /// with `swap`; it dies after the call. It is empty unless the result is `DR_Found`, and then too for a deleted
  /// document: with a document's content wanted, CouchDB answers for one with a null in its place. With `DC_IdAndRev` a
  /// deleted document has its last revision, and "_rev" holds no value if the server sent no "value" with the row.
  using DocumentCallback = void (*)(MultiThreadedDocumentGetter& getter, const string& id, qxVariantMapImpl& doc,
                                    const string& error, DocumentResult result, void* userData, void* threadData);

  /// Makes a thread's data, just before the thread's first request, by setting `threadData`, which comes null; a thread
  /// that never works makes none, and one that has set none is asked again before each request. Or destroys it, as the
  /// thread's last act: from inside the getter's destructor. Both run on the worker thread.
  using ThreadDataCallback = void (*)(MultiThreadedDocumentGetter& getter, void* userData, void*& threadData);

  /// Starts the threads. `callback` null means that ids are counted as done without a request. If only one of
  /// `createThreadData` and `deleteThreadData` is given, both are dropped. `threadCount` 0 counts as 1. `batchSize` is
  /// the most ids in one request. Give at least 1: with 0 no id is ever taken, and as soon as one waits every thread
  /// spins and `waitUntilAllJobsAreDone` does not end before a cancel.
  ///
  /// Throws std::system_error when the system gives not a single thread; fewer than asked for, which the log tells, do
  /// all the work.
  MultiThreadedDocumentGetter(const CouchConnectionParameters& server, const string& db, DocumentCallback callback,
                              void* userData, ThreadDataCallback createThreadData, ThreadDataCallback deleteThreadData,
                              unsigned int threadCount, unsigned int batchSize, DocContent content);

  /// A copy starts no thread and joins none. It shares the threads, the lock and the condition of its source, and must
  /// die before it. Waiting ids, counts, callbacks and settings are copied as they stand; from then on each has its
  /// own. The threads serve the source alone: ids that wait in a copy are never fetched, and a wait for them ends by a
  /// cancel.
  MultiThreadedDocumentGetter(const MultiThreadedDocumentGetter& source);
  MultiThreadedDocumentGetter& operator=(const MultiThreadedDocumentGetter&) = delete;
  ~MultiThreadedDocumentGetter();

  /// Adds ids that do not wait already; one that is being fetched just now may be added again. Does nothing after a
  /// cancel.
  void addJobs(const vector<string>& ids);

  /// Replaces callback and user data. False, with nothing changed, while any id is not done: so always from inside
  /// the document callback.
  bool setCallback(DocumentCallback callback, void* userData);

  /// Counts from the next request of each thread on.
  DocContent getIncludeDocContent() const noexcept;
  void setIncludeDocContent(DocContent content) noexcept;

  /// Drops the ids that wait, for good: the getter takes no more. Requests in flight go on, and their documents are
  /// delivered.
  void cancel();

  /// Blocks until every id is done: delivered, failed or silently gone. `cancelFlag` may be null; raised by any thread
  /// through `StoreFlag` it acts as `cancel` does, within 150 ms. True if the getter was never cancelled. The last
  /// callback has returned when this does.
  bool waitUntilAllJobsAreDone(const bool* cancelFlag);

 private:
  class Worker;
  struct State;

  unique_ptr<State> mState;
};

}  // namespace qx::couch
