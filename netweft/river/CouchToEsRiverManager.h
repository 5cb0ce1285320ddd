#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxThread.h"
#include "netweft/base/system/qxTypes.h"
#include "netweft/river/IndexDefinition.h"
#include "netweft/river/RiverParameters.h"

namespace qx::http {
class HttpConnection;
}
namespace qx::elasticsearch {
class ESConnectionParameters;
}

namespace qx::couch {

/// The River: keeps Elasticsearch indexes in step with CouchDB databases. A host declares indexes with `addIndex`; each
/// names one source database, and several indexes may share a database. What an index holds, and how far it has got,
/// stands in the `_meta` object of its own mapping: a restarted process goes on from there, and nothing is kept on the
/// local machine.
///
/// Delivery: a change reaches every index of its database at least once. The stored sequence moves only after every
/// command before it was accepted and made visible by a refresh, so whatever ends a batch (a failure, a cancel, a kill)
/// brings that batch back. An index whose shape no longer fits is dropped and filled anew from sequence 0.
///
/// Threads: one control thread, which follows the feeds and shapes the indexes, and `workerCount` Workers, which move
/// the documents; all start with construction. Every operation may be called from any thread, save that `removeIndex`,
/// `closeManager` and the destructor must not be called from `documentFilter`: they wait for the Worker that it runs
/// on. A Worker and the control thread may hold the manager's lock while Elasticsearch answers, so an operation may
/// take as long as one of its replies does.
///
/// Lifetime: built after `initializeNetweft` and destroyed before `terminateNetweft`. Whatever the parameters point at
/// (filter, callback, callback context) must outlive the manager.
///
/// Failures show in the log (errors and warnings; details on the channel "esriver"), and feed messages in
/// `changesCallback`: an unknown database or refused credentials are told there and nowhere else.
class NETWEFT_EXPORT CouchToEsRiverManager : public qxThread {
 public:
  /// The records under the names that hosts write.
  using Parameters = RiverParameters;
  using IndexDefinition = couch::IndexDefinition;

  /// Copies the parameters and starts all threads. Never reaches a server. Throws std::system_error when the system
  /// gives no control thread or not a single Worker; with fewer Workers than asked for, which the log tells, it runs.
  explicit CouchToEsRiverManager(Parameters parameters);

  /// Closes the manager and joins every thread.
  ~CouchToEsRiverManager() override;

  /// Declares an index, or replaces the definition of one of that name on that database, and returns at once: the
  /// control thread creates or checks the index and opens the feed. A failure shows in the log alone. The name must be
  /// one that Elasticsearch takes, and concrete: patterns, lists and reserved names are refused with an error line.
  void addIndex(const IndexDefinition& definition);

  /// Takes an index from the manager; the first of that name in the order of the databases. Then waits, without limit,
  /// for the Workers that have a batch of its database in hand: each ends after the requests in flight.
  ///
  /// With `deleteIndex` the index is also dropped in Elasticsearch, found here or not, with the manager's lock held:
  /// the result is that of `DeleteIndex` with 5,000 ms. Without it the result is true, found or not.
  bool removeIndex(const string& indexName, bool deleteIndex);

  /// What the manager knows of an index, from memory alone. Each pointer may be null. `lastRefreshSeq` is the sequence
  /// of the last finished batch and can run ahead of what is stored in Elasticsearch; `creationDescriptor` is empty
  /// until the index was checked. False, with the outputs left alone, when there is no such index.
  bool getIndexInfo(const string& indexName, string* mappingRevision, uint64* lastRefreshSeq,
                    string* creationDescriptor);

  /// Takes every index from the manager, as `removeIndex` without deletion does, and ends the control thread. For good:
  /// an index added afterwards is not served. May be called twice.
  ///
  /// It cancels the transfers in hand. A cancel takes effect when a byte of a request's or reply's body moves; a server
  /// that falls silent is given up after 45 to 60 seconds. Deleting an index and asking for its existence know no
  /// cancel: they end with the reply, or with the silence.
  void closeManager();

  /// Drops an index and waits until it is gone, up to `timeoutMs` milliseconds. An index that is not there counts as
  /// dropped. False, with an error line, on any other outcome, and for a name that is not one concrete index.
  static bool DeleteIndex(const string& indexName, http::HttpConnection& connection,
                          const elasticsearch::ESConnectionParameters& es, int timeoutMs);

  /// Replaces `out` by the indexes that a River has made on that server: by source database, the names in ascending
  /// order. False, with an error line, when the server does not answer with 200.
  static bool GetIndexList(http::HttpConnection& connection, const elasticsearch::ESConnectionParameters& es,
                           map<string, list<string>>& out);

 protected:
  void run() override;

 private:
  class Worker;
  class ControlLoop;
  struct State;

  void cancelJobAndWait(const string& dbName);

  unique_ptr<State> mState;
};

}  // namespace qx::couch
