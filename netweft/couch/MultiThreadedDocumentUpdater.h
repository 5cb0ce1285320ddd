#pragma once

#include "netweft/couch/MultiThreadedDocumentGetter.h"

namespace qx::couch {

/// Applies a host's function to every document of a CouchDB database and writes back those that it changed. Documents
/// are read by a `MultiThreadedDocumentGetter`, with their attachments; the changed ones gather in one batch for each
/// reading thread, and full batches go to a `MultiThreadedDocumentUploader`.
///
///   MultiThreadedDocumentUpdater updater(server, "packages", Update, nullptr, nullptr, &host, 4, 100);
///   updater.applyOnEntireDb(nullptr);
///   updater.waitForAllUpdate(nullptr);
///
/// Threads: `threadCount / 2` that read, and as many that write; at least one of each. The three callbacks run on the
/// reading threads, `UpdateCallback` on several at once, with no lock of the library's held. They must not call the
/// updater. `threadUserData` is that thread's alone. `applyOnEntireDb` and `waitForAllUpdate` are called from one
/// thread, in that order.
///
/// What outlives what: the server's parameters are copied. Callbacks and user data must live until `waitForAllUpdate`
/// has returned, or until the destructor has. The destructor must not run in a callback; without a `waitForAllUpdate`
/// before it, it cancels what was not begun and then waits as that does.
///
/// What a host must know about the writing:
/// - A document that another writer changed in the meantime is refused by the server, and nobody is told: the answers
///   of the server are not read. Whoever needs every document to be changed applies the function again until it finds
///   nothing.
/// - A post that fails is logged. It ends the writing: every later batch is dropped, while the reading goes on.
/// - The reading threads wait while the server is slow to write, and the memory in use, beside the ids of the
///   documents, is that of a few batches, whatever the size of the database.
/// - Sequences must be integers, as in CouchDB 1.x. A server that gives them as texts which are no numbers looks like
///   an empty database.
class NETWEFT_EXPORT MultiThreadedDocumentUpdater {
 public:
  /// Gets each document with its attachments, as base64, to be changed in place. True: write it back, under the "_id"
  /// and "_rev" that it holds on return; its content is taken. False: leave it.
  ///
  /// It also gets an EMPTY MAP for each document that could not be read, was deleted since it was listed or is unknown,
  /// and must return false for it: true would make the server create a document with a name of its own. Design
  /// documents come too; leave those whose "_id" begins with "_design/" alone unless they are meant.
  ///
  /// One that throws is logged, and its document stays as it is.
  using UpdateCallback = bool (*)(qxVariantMapImpl& doc, void* userData, void* threadUserData);

  /// Makes a reading thread's data, before its first document. A thread that never works makes none.
  using CreateThreadDataCallback = void* (*)(void* userData);

  /// Destroys it, as the thread's last act: inside `waitForAllUpdate` or the destructor. It gets the updater, NOT the
  /// user data: what it needs of that belongs into the thread's data.
  using DeleteThreadDataCallback = void (*)(void* updater, void* threadUserData);

  /// Starts the threads. `update` must not be null; each of the other two may be, by itself. `batchSize` is the most
  /// documents in one request that reads, at least 1: with 0 nothing is ever read, the threads spin, and only a cancel
  /// ends the wait. A batch that is written holds one more: it goes out when it has grown beyond `batchSize`.
  ///
  /// Throws std::system_error when the system gives no thread that reads or none that writes; fewer than asked for,
  /// which the log tells, do all the work.
  MultiThreadedDocumentUpdater(const CouchConnectionParameters& server, const string& db, UpdateCallback update,
                               CreateThreadDataCallback create, DeleteThreadDataCallback destroy, void* userData,
                               unsigned int threadCount, unsigned int batchSize);
  MultiThreadedDocumentUpdater(const MultiThreadedDocumentUpdater&) = delete;
  MultiThreadedDocumentUpdater& operator=(const MultiThreadedDocumentUpdater&) = delete;
  ~MultiThreadedDocumentUpdater();

  /// Queues all documents that the database has now, in steps of 10,000 changes, and returns when they are queued: the
  /// updates go on. Changes from after the call, the updater's own among them, are not followed. False after an error,
  /// which is logged; what was queued before it goes on. `cancelFlag` may be null; raised by any thread through
  /// `StoreFlag` it ends the listing before its next request, and the result is true.
  ///
  /// The listing has a connection of its own with the getter's limits: 30 s to connect, 1,200 s below 10 bytes a
  /// second, since the server may be busy with what was queued already. Calling it again after a failure lists
  /// everything anew.
  bool applyOnEntireDb(const bool* cancelFlag);

  /// Blocks until all that was queued is read and written, sends what the threads have left over, one last post for
  /// each thread that did anything, empty or not, and ends the threads. Then it logs, on channel "couchdb", how many
  /// documents were queued (not: written) since the construction. False, and nothing done, only when it has been called
  /// before.
  ///
  /// `cancelFlag` may be null; raised, it drops the documents that were not asked for yet, and a batch that waits to be
  /// posted. What was begun is waited for: the requests have the time limits of the getter and of the uploader, whose
  /// posts have none.
  bool waitForAllUpdate(const bool* cancelFlag);

 private:
  struct State;
  struct ThreadData;

  /// The queue step of the listing.
  void queueDocuments(const vector<string>& ids);
  void sendBatch(const qxVariantMapImpl& batch);

  static void CreateThreadData(MultiThreadedDocumentGetter& getter, void* updater, void*& threadData);
  static void DeleteThreadData(MultiThreadedDocumentGetter& getter, void* updater, void*& threadData);
  static void OnGetDocumentCallback(MultiThreadedDocumentGetter& getter, const string& id, qxVariantMapImpl& doc,
                                    const string& error, MultiThreadedDocumentGetter::DocumentResult result,
                                    void* updater, void* threadData);

  unique_ptr<State> mState;
};

}  // namespace qx::couch
