#pragma once

#include "netweft/river/CouchToEsRiverManager.h"
#include "tests/live/LiveServer.h"
#include "tests/live/MixedDocuments.h"

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
  /// Changes one random document of the first `count`: an update, a deletion or a recreation.
  static void disturbOne(const string& dbName, MixedDocuments& documents, uint64 count);
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
  /// True when the index shows, without a refresh by this question, every change up to the sequence that is stored in
  /// it; otherwise what it lacks is printed. For indexes of at most 10,000 documents that no filter thins out.
  static bool holdsWhatItSays(const string& dbName, const string& indexName);
  /// `isSame`, asked until it is true or time is over.
  static bool becomesSame(const string& dbName, const string& indexName, const vector<string>& options = {},
                          int timeoutSec = 120);

  // Runs a program that compares the two and prints what differs.
  static bool compare(const string& program, const string& dbName, const string& indexName,
                      const vector<string>& options);

  // For fixtures that start one of them alone.
  static unique_ptr<LiveServer> sCouch;
  static unique_ptr<LiveServer> sEs;
};

/// Of the random choices of a test: NETWEFT_CHAOS_SEED when that is set, else a new one. Prints it, so that a run can
/// be had again, as far as threads and servers let it.
unsigned ChaosSeed();

uint64 NumberFromEnvironment(const char* name, uint64 otherwise);

/// How many documents a load test writes: fewer in a build with a sanitizer, which is many times slower.
uint64 LoadSize();

}  // namespace qx::test
