#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"
#include "netweft/couch/CouchConnectionParameters.h"

namespace qx::couch {

/// Posts ready-made `_bulk_docs` bodies to one CouchDB database from several threads, while its callers go on
/// producing. One batch can wait; whoever comes with the next one blocks until a thread has picked the waiting one up.
/// So slow writes slow the producers, and the memory in use is one batch for each thread, one that waits, and one for
/// each producer.
///
///   MultiThreadedDocumentUploader uploader(server, "packages", 4);
///   while (produce(batch)) {                       // {"docs":[...]}
///     if (!uploader.sendBatch(batch)) break;       // a post has failed: the log tells why
///   }
///   const bool allPosted = uploader.waitForEnd(nullptr);
///
/// Threads: `threadCount` workers with a connection each, started by the constructor and joined by the destructor. They
/// call nobody back. `sendBatch` and `waitForEnd` may be called from any thread, several at once.
///
/// What outlives what: the server's parameters are not copied and must outlive the uploader. No call may be inside the
/// uploader when it is destroyed. The destructor tells each worker in turn to stop and waits for the posts in flight,
/// which nothing cuts short: connecting is limited to 30 s, a post has no limit at all, also not for a server that has
/// stopped reading or answering. A batch that still waits is dropped: call `waitForEnd` first.
///
/// A post counts as done when the server answers 201. What the answer says of each document is not read: a document
/// that was refused, for a conflict or any other reason, goes unnoticed. Nothing is tried twice. The first post that
/// fails is the end: no further batch is taken, what is in flight or waits already is still posted.
class NETWEFT_EXPORT MultiThreadedDocumentUploader {
 public:
  /// Starts the threads; `threadCount` 0 counts as 1. Throws std::system_error when the system gives not a single one;
  /// fewer than asked for, which the log tells, do all the work.
  MultiThreadedDocumentUploader(const CouchConnectionParameters& server, const string& db, unsigned int threadCount);
  MultiThreadedDocumentUploader(const MultiThreadedDocumentUploader&) = delete;
  MultiThreadedDocumentUploader& operator=(const MultiThreadedDocumentUploader&) = delete;
  ~MultiThreadedDocumentUploader();

  /// Takes a JSON object with a "docs" list, as text, and leaves `batch` empty; it may have kept the room of an earlier
  /// batch, so reusing it saves allocations. Blocks while another batch waits. False when a post has failed before this
  /// batch was taken, also while this call was blocked: `batch` is then as it was. True says that the batch was taken,
  /// not that it was posted. An empty text is taken and forgotten.
  bool sendBatch(string& batch);

  /// Blocks until no batch waits and no post is in flight. `cancelFlag` may be null; raised by any thread through
  /// `StoreFlag` it drops the batch that waits, within 250 ms, and the posts in flight are still waited for. True if no
  /// post has failed since the construction; a dropped batch is no failure.
  bool waitForEnd(const bool* cancelFlag);

 private:
  class Worker;
  struct State;

  unique_ptr<State> mState;
};

}  // namespace qx::couch
