#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/elasticsearch/ESConnectionParameters.h"

namespace qx::elasticsearch {

/// Fetches many documents from Elasticsearch by their ids, with a small pool of threads. Each thread takes a share of
/// the waiting ids, turns it into one `_search` request over all indexes of the server, and reports every id through
/// one callback: found, failed or missing.
///
///   MultiThreadedDocumentGetter getter(es, OnDocument, &host, nullptr, nullptr, 4, 500, qxVariant());
///   getter.addJobs({{"id-1", "person"}, {"id-2", ""}});
///   getter.waitUntilAllJobsAreDone(nullptr, nullptr);
///
/// What the documents need: a search finds them by their *fields* "id" and "type", by exact terms. So each document
/// carries its own id in a field "id", equal to its `_id`, and its type in a field "type", and both are mapped as
/// keyword. A text field splits "id-1" in two words, and the id is reported missing.
///
/// What a request can hold, with Elasticsearch's own settings:
/// - A request asks for as many hits as it has ids. If one id is in several indexes, the first hit is the one that is
///   reported, the others take room, and ids of the same request may be reported missing that are there. A host that
///   has such ids takes a `maxBatch` of 1, and gets any one of the documents.
/// - More than 10,000 ids in one request are refused (`index.max_result_window`): all of them are reported failed.
/// - One clause is made for each type: more than 1,024 types in one request are refused likewise
///   (`indices.query.bool.max_clause_count`).
/// - A shard that fails makes its documents missing; the server's answer is a good one.
///
/// Threads: callbacks run on the pool's threads, several at once, with no lock of the getter's held; all calls of one
/// thread come one after the other. `threadData` is that thread's alone, everything else that they touch is the host's
/// to guard. `addJob`, `addJobs`, `cancel` and `setCallback` may be called from any thread, also from inside a
/// callback; `waitUntilAllJobsAreDone` from any thread but the pool's, where it would wait for itself.
///
/// What outlives what: the server's parameters are not copied and must outlive the getter; so must the callbacks and
/// the context. The destructor must not run in a callback. It tells each thread in turn to stop and waits for it: for a
/// request in flight, which nothing cuts short but its time limits (30 s to connect, 1,200 s below 10 bytes a second),
/// and for one more callback at most beside those of the hits in the answer. What is not reported by then never is.
///
/// An id that was added gets one callback, unless it is dropped by `cancel` or the destructor, or asked for while no
/// callback is set. A request is not tried twice. A reply that cannot be read is logged as an error, with its text on
/// the channel "esresultparser", and what it did not bring is reported missing. An exception that a callback throws is
/// logged as an error, and costs no other id its callback.
class NETWEFT_EXPORT MultiThreadedDocumentGetter {
 public:
  /// What came of one id.
  enum DocumentResult : int32 {
    DR_Found = 0,    ///< `source` is the JSON text of the document, byte for byte, as far as `sourceFields` lets it
    DR_Error = 1,    ///< the request failed; `error` tells why
    DR_Missing = 2,  ///< no hit for this id; `error` is "missing"
  };

  /// Gets one document. The texts live for the call alone. `source` is empty unless the result is `DR_Found`.
  using DocumentCallback = void (*)(MultiThreadedDocumentGetter& getter, const string& id, const string& source,
                                    const string& error, DocumentResult result, void* context, void* threadData);

  /// Makes a thread's data, just before the thread's first request, by setting `threadData`, which comes null; a thread
  /// that never works makes none, and one that has set none is asked again before each request. Or destroys it, as the
  /// thread's last act: from inside the getter's destructor. Both run on the pool's thread.
  using ThreadDataCallback = void (*)(MultiThreadedDocumentGetter& getter, void* context, void*& threadData);

  /// Starts the threads. `callback` null means that ids are counted as done without a request. If only one of
  /// `initCallback` and `exitCallback` is given, both are dropped. `threads` 0 counts as 1. `maxBatch` is the most ids
  /// in one request; 0 counts as 1. A thread takes no more than its share of what is to be done, so that a few ids go
  /// to all threads. `sourceFields` is the "_source" of each request: a list of field names, a pattern, or false for
  /// no source; a variant that holds nothing asks for whole documents.
  ///
  /// Throws std::system_error when the system gives not a single thread; fewer than asked for, which the log tells, do
  /// all the work.
  MultiThreadedDocumentGetter(const ESConnectionParameters& es, DocumentCallback callback, void* context,
                              ThreadDataCallback initCallback, ThreadDataCallback exitCallback, unsigned int threads,
                              unsigned int maxBatch, const qxVariant& sourceFields);

  /// A copy starts no thread and joins none. It shares the threads, the lock and the condition of its source, and must
  /// die before it. Waiting ids, counts, callbacks and settings are copied as they stand; from then on each has its
  /// own. The threads serve the source alone: ids that wait in a copy are never fetched, and a wait for them ends by a
  /// cancel.
  MultiThreadedDocumentGetter(const MultiThreadedDocumentGetter& source);
  MultiThreadedDocumentGetter& operator=(const MultiThreadedDocumentGetter&) = delete;
  ~MultiThreadedDocumentGetter();

  /// Adds ids with their types. An empty type means any. An id that waits already keeps the type that it waits with;
  /// one that is being fetched just now may be added again. Ids added after a cancel are fetched too.
  void addJobs(const map<string, string>& idToType);
  void addJob(const string& id, const string& type);

  /// Replaces callback and context. False, with nothing changed, while any id is not done: so always from inside
  /// the document callback.
  bool setCallback(DocumentCallback callback, void* context);

  /// Drops the ids that wait. Requests in flight go on, and their ids are reported.
  void cancel();

  /// Blocks until every id is done. `cancelFlag` may be null; raised by any thread through `StoreFlag` it acts as
  /// `cancel` does, within 150 ms. `bytesReceived`, unless null, is set to the size of all good replies since the
  /// getter was made. True if the getter was never cancelled. The last callback has returned when this does.
  bool waitUntilAllJobsAreDone(const bool* cancelFlag, uint64* bytesReceived);

 private:
  class Worker;
  struct State;

  unique_ptr<State> mState;
};

}  // namespace qx::elasticsearch
