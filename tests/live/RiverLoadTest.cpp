#include "netweft/base/system/qxFlag.h"
#include "tests/live/LiveWorld.h"
#include "tests/live/MixedDocuments.h"
#include "tests/live/Writers.h"

#include <atomic>
#include <csignal>

namespace qx::test {
namespace {

using couch::CouchToEsRiverManager;

class RiverLoadTest : public LiveWorld {
 protected:
  void SetUp() override {
    LiveWorld::SetUp();
    if (IsSkipped()) return;
    mDb = freshName("load");
    createDatabase(mDb);
  }

  void load(uint64 count) {
    MixedDocuments documents(7);
    for (uint64 first = 0; first < count; first += 500) {
      bulkDocs(mDb, documents.makeMany(first, std::min<uint64>(500, count - first)));
    }
  }

  string mDb;
};

TEST_F(RiverLoadTest, DocumentsOfMixedShapesReachTwoIndexesOneOfThemFiltered) {
  load(LoadSize());
  // Conflicts and tombstones.
  bulkDocs(mDb, R"([{"_id":"plain8","_rev":"1-ffffffffffffffffffffffffffffffff","conflict":true}])", false);
  for (uint64 number : {12U, 13U, 14U}) ASSERT_TRUE(remove(mDb, MixedDocuments::id(number)));

  const string all = freshName("a-all");
  const string some = freshName("b-some");
  CouchToEsRiverManager::Parameters given = parameters();
  given.documentFilter = [](qxVariantMapImpl& document, const string& indexName) {
    return indexName[0] == 'a' || document.getInteger("kind", -1) == 1;
  };
  CouchToEsRiverManager river(given);
  river.addIndex(definition(mDb, all));
  river.addIndex(definition(mDb, some));
  ASSERT_TRUE(waitInSync(river, mDb, {all, some}, 300));
  EXPECT_TRUE(becomesSame(mDb, all));
  EXPECT_TRUE(becomesSame(mDb, some, {"--times", "2", "--where", "doc.kind === 1"}));
}

TEST_F(RiverLoadTest, WritersThatRaceTheInitialLoadLoseNothing) {
  const uint64 count = LoadSize() / 10;
  load(count);
  const string index = freshName("race");
  CouchToEsRiverManager::Parameters given = parameters();
  given.maxDocsPerBatch = 100;
  CouchToEsRiverManager river(given);
  Writers writers(2, [&](MixedDocuments& documents) { disturbOne(mDb, documents, count); });
  river.addIndex(definition(mDb, index));
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  writers.stop();
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  EXPECT_TRUE(becomesSame(mDb, index));
}

TEST_F(RiverLoadTest, ARiverThatIsKilledAgainAndAgainLosesNothing) {
  const uint64 count = LoadSize() / 10;
  load(count);
  const string index = freshName("killed");
  const vector<string> command = {NETWEFT_RIVER_CHILD, couch().getUrl(), es().getUrl(), mDb, index};
  MixedDocuments random(99);
  std::atomic<int> written{0};
  Writers writers(1, [&](MixedDocuments& documents) {
    disturbOne(mDb, documents, count);
    ++written;
  });
  for (int kill = 0; kill < 20; ++kill) {
    ChildProcess river(command);
    // A random moment, counted in what the writer does meanwhile.
    const int until = written + static_cast<int>(random.below(300));
    ASSERT_TRUE(waitFor([&] { return written >= until; }));
    river.kill(SIGKILL);
    EXPECT_EQ(river.wait(10'000), 128 + SIGKILL);
  }
  writers.stop();
  ChildProcess river(command);
  EXPECT_TRUE(waitFor(
      [&] {
        river.writeLine("advance 20000");
        return isSame(mDb, index);
      },
      180));
}

TEST_F(RiverLoadTest, ALargeDocumentsDatabaseGetsThroughInSmallerBatches) {
  string documents = "[";
  for (int i = 0; i < 300; ++i) {
    documents +=
        string(i == 0 ? "" : ",") + "{\"_id\":\"d" + std::to_string(i) + "\",\"text\":\"" + string(4000, 'x') + "\"}";
  }
  bulkDocs(mDb, documents + "]");
  const string index = freshName("large");
  CouchToEsRiverManager::Parameters given = parameters();
  given.maxBatchBytes = 100'000;
  CouchToEsRiverManager river(given);
  river.addIndex(definition(mDb, index));
  ASSERT_TRUE(waitInSync(river, mDb, {index}));
  EXPECT_TRUE(becomesSame(mDb, index));
}

}  // namespace
}  // namespace qx::test
