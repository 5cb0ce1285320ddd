#pragma once

#include "netweft/river/CouchToEsRiverManager.h"
#include "tests/live/LiveServer.h"

#include <gtest/gtest.h>

#include <functional>

namespace qx::test {

/// Both real servers, started once for a test program, and questions to them over plain HTTP. Base of the live
/// fixtures. Without the servers each test is skipped, with the reason printed.
class LiveWorld : public testing::Test {
 public:
  static void SetUpTestSuite();
  static void TearDownTestSuite();

 protected:
  void SetUp() override;
  void TearDown() override;

  static LiveServer& couch() { return *sCouch; }
  static LiveServer& es() { return *sEs; }

  /// A name for a database or index that no other test uses.
  static string freshName(const string& stem);

  static couch::CouchToEsRiverManager::Parameters parameters();
  static couch::IndexDefinition definition(const string& dbName, const string& indexName);

  static void createDatabase(const string& dbName);
  /// Writes `documents`, a JSON array, through _bulk_docs; gives the reply, the new revisions among it.
  static qxVariantListImpl bulkDocs(const string& dbName, const string& documents, bool newEdits = true);
  static string revisionOf(const string& dbName, const string& id);
  static bool remove(const string& dbName, const string& id);
  static uint64 updateSeq(const string& dbName);
  static uint64 countIn(const string& indexName);

  /// One request to a server; status, and the body in `reply` when that is not null. 0 when there was no answer.
  static uint32 request(const string& verb, const string& url, const string& body, string* reply = nullptr);

  /// Waits until `condition` holds, with the library's clock running ahead of time, so that no back-off is waited out.
  /// False after `timeoutSec` seconds of real time.
  static bool waitFor(const std::function<bool()>& condition, int timeoutSec = 120);
  /// Waits until each index has got to its database's last change, as far as the manager knows.
  static bool waitInSync(couch::CouchToEsRiverManager& river, const string& dbName, const vector<string>& indexNames,
                         int timeoutSec = 120);

  /// True when the index holds what the database holds, by a comparison that knows nothing of the library; otherwise
  /// the differences are printed. `options` go to servers/compare.mjs.
  static bool isSame(const string& dbName, const string& indexName, const vector<string>& options = {});
  /// The same, asked until it is true or time is over.
  static bool becomesSame(const string& dbName, const string& indexName, const vector<string>& options = {},
                          int timeoutSec = 120);

  // For fixtures that start one of them alone.
  static unique_ptr<LiveServer> sCouch;
  static unique_ptr<LiveServer> sEs;
};

/// How many documents a load test writes: fewer in a build with a sanitizer, which is many times slower.
uint64 LoadSize();

}  // namespace qx::test
