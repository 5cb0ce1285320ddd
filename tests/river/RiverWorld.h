#pragma once

#include "netweft/river/CouchToEsRiverManager.h"
#include "tests/http/LibraryFixture.h"
#include "tests/river/FakeCouch.h"
#include "tests/river/FakeElasticsearch.h"
#include "tests/river/ThreadHold.h"
#include "tests/support/LogCapture.h"

#include <functional>

namespace qx::couch::test {

using qx::test::CapturedLine;
using qx::test::Detail;
using qx::test::Error;
using qx::test::Warning;

/// A manager between two stand-in servers, and the means to force an order of events on its threads.
///
/// The names matter where a test counts passes: the databases that the fixture adds sort behind "a" to "o".
class RiverWorld : public qx::test::LibraryFixture {
 protected:
  using Clock = std::chrono::steady_clock;

  RiverWorld();
  /// Lets everybody go on, then closes.
  ~RiverWorld() override;

  /// With `mParameters`. The manager is `mRiver`.
  void start();
  void stop() { mRiver.reset(); }

  static IndexDefinition Definition(const string& db, const string& index, const string& version = "1");
  void addIndex(const string& db, const string& index, const string& version = "1") {
    mRiver->addIndex(Definition(db, index, version));
  }
  /// Waits for the feed as well.
  void open(const string& db, const string& index);

  [[nodiscard]] static bool Until(const std::function<bool()>& condition);
  [[nodiscard]] bool untilLine(const CapturedLine& line, uint64 count = 1) const;
  [[nodiscard]] bool untilDocument(const string& index, const string& id) const;
  /// Until the feed of a database has brought a document to the manager.
  [[nodiscard]] bool untilSeen(const string& db, const string& id) const;
  /// Until the manager says that an index has got so far.
  [[nodiscard]] bool untilAt(const string& index, uint64 seq);

  /// How often a feed of the database was opened.
  uint64 openings(const string& db) const;
  [[nodiscard]] bool untilOpenings(const string& db, uint64 count) const {
    return Until([&] { return openings(db) >= count; });
  }
  /// Messages of a feed so far.
  uint64 messages(const string& db, ChangesListener::CallbackMsg message) const;
  string meta(const string& index, const string& key) const;

  /// Two complete passes of the control thread over all databases up to "o", from now.
  void awaitPasses();
  /// The same, and then a document of another database goes all its way, so a Worker had its turn.
  void awaitTurns();

  /// From the return on, the control thread stands in the host's `changesCallback`, without the lock, with all that the
  /// callback had seen before in the queues, and the Workers roused.
  void holdControl();
  void letControlGo();

  /// The next document that the filter sees for this index holds its Worker.
  ThreadHold& holdFilter(const string& index);
  /// Documents with that id are filtered out of that index.
  static void Refuse(const string& index, const string& id);

  qx::test::LogCapture mLog;
  FakeElasticsearch mEs;
  FakeCouch mCouch;
  RiverParameters mParameters;
  unique_ptr<CouchToEsRiverManager> mRiver;

 private:
  struct Message {
    string db;
    ChangesListener::CallbackMsg message;
    string id;
  };

  static void OnMessage(ChangesListener::CallbackMsg message, const ChangesListener::CallbackParam& param, void* world);
  static bool OnDocument(qxVariantMapImpl& document, const string& index);

  mutable std::mutex mMutex;
  vector<Message> mMessages;
  /// By database; kept until the end.
  map<string, shared_ptr<ThreadHold>> mHolds;
  string mHeldDb;
  uint64 mAdded = 0;
};

}  // namespace qx::couch::test
