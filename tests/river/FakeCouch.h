#pragma once

#include "netweft/couch/CouchConnectionParameters.h"
#include "tests/river/RequestScript.h"

#include <mutex>

namespace qx::couch::test {

using qx::test::Gate;
using qx::test::Reply;
using qx::test::Request;
using qx::test::ScriptedServer;

/// As much of CouchDB as the River needs: documents, and change feeds that bring what a test writes. A feed ends in
/// good order after each write, and the listener asks anew from where it stands. Any thread.
class FakeCouch {
 public:
  FakeCouch();

  CouchConnectionParameters getServer() const;
  ScriptedServer& getScript() { return mServer; }

  /// Writes a document, `{"_id":...,"_rev":...` + `fields` + `}`, and tells the feed. The new sequence.
  uint64 put(const string& db, const string& id, const string& fields = "");
  /// Deletes a document and tells the feed.
  uint64 remove(const string& db, const string& id);
  /// Several documents in one piece of the feed.
  void putAll(const string& db, const vector<string>& ids, const string& fields = "");
  /// A document changes and the feed does not tell yet.
  void putSilently(const string& db, const string& id);
  /// A document vanishes without a trace.
  void lose(const string& db, const string& id);

  void answer(const string& kind, Reply reply);
  void answerAlways(const string& kind, Reply reply);
  void answerUsually(const string& kind);
  Gate hold(const string& kind);
  void openGates();

  /// Requests of that kind so far, such as "GET /db/doc".
  uint64 count(const string& kind) const { return CountKind(mServer, kind); }
  /// The targets of the feeds asked for so far.
  vector<string> getFeeds(const string& db) const;

 private:
  struct Change {
    uint64 seq;
    string id;
    string rev;
    bool deleted;
  };
  struct Document {
    string rev;
    string body;
  };
  struct Database {
    list<Change> changes;
    map<string, Document> documents;
    Gate more;
  };

  Reply handle(const Request& request);
  Reply usual(const Request& request);
  static Reply Feed(const Database& database, uint64 since);
  static Reply Get(const Database& database, const string& id);
  Document& write(Database& database, const string& id, const string& fields);
  static void Tell(Database& database, const string& id, const string& rev, bool deleted);
  /// Without the lock: the gate's scripts go on on another thread.
  void endFeeds(const string& db);

  mutable std::mutex mMutex;
  map<string, Database> mDatabases;
  RequestScript mScript;
  uint64 mRevisions = 0;
  ScriptedServer mServer;
};

}  // namespace qx::couch::test
