#pragma once

#include "netweft/couch/internal/DbListenRecord.h"

namespace qx::couch {

/// The driver of the feeds: owns their records and the multi handle, does what ListenMachine decides and brings it what
/// libcurl tells. The contract of its operations is that of `ChangesListener`.
///
/// While callbacks may be on the stack, libcurl lets nobody remove or clean up a handle. So a feed that is stopped then
/// leaves the map at once and goes to a graveyard, which is emptied at the end of the pass.
class ChangesListenerCore {
 public:
  explicit ChangesListenerCore(const CouchConnectionParameters& server);
  ChangesListenerCore(const ChangesListenerCore&) = delete;
  ChangesListenerCore& operator=(const ChangesListenerCore&) = delete;
  ~ChangesListenerCore();

  bool setServer(const CouchConnectionParameters& server);
  /// The name must not be registered.
  void start(unique_ptr<DbListenRecord> record, long connectTimeoutSec);
  bool stop(const string& db);
  bool pause(const string& db, bool isPaused);
  void update(int timeoutMs);
  bool isListening(const string& db) const { return mRecords.contains(db); }
  void getListened(set<string>& out) const;

 private:
  /// Counts the ways into libcurl and into records that are on the stack.
  class Depth;
  using Records = map<string, unique_ptr<DbListenRecord>>;

  void stop(Records::iterator found);
  void runPass();
  void tickAll();
  void tick(DbListenRecord& record);
  bool arm(DbListenRecord& record, const string& url);
  void perform();
  void readDone();
  void removeHandle(CURL* handle);
  void endTransfer(DbListenRecord& record, CURLcode result);
  void endRefusedTransfers();
  void releaseHandle(DbListenRecord& record);
  /// With no callback on the stack any more: what had to wait for that is done, and what they threw goes out.
  void leaveCallbacks();
  DbListenRecord* findByHandle(const CURL* handle) const;
  bool isAnyActive() const;

  Records mRecords;
  CouchConnectionParameters mServer;
  CURLM* const mMulti;
  /// Takes the nodes of the other over, so that the end of a feed allocates nothing; a name may be there twice.
  std::multimap<string, unique_ptr<DbListenRecord>> mGraveyard;
  int mDepth = 0;
};

}  // namespace qx::couch
