#include "tests/live/LiveWorld.h"
#include "tests/live/RandomFaults.h"
#include "tests/live/Writers.h"
#include "tests/support/LogCapture.h"

#include <iostream>

namespace qx::test {
namespace {

using couch::CouchToEsRiverManager;

constexpr uint64 sDocuments = 300;
constexpr int sPatienceSec = 600;
#if defined(NETWEFT_SANITIZED)
constexpr uint64 sSeconds = 45;
#else
constexpr uint64 sSeconds = 120;
#endif

/// Random faults between the River and one of its servers.
class FaultyWay {
 public:
  FaultyWay(uint16 target, unsigned seed, unsigned oneIn) : mRandom(seed + 1), mFaults(seed, oneIn), mProxy({target}) {
    mProxy.setPlan([this] { return mFaults.draw(); });
  }

  string getUrl() const { return mProxy.getUrl(); }

  /// Now and then the server's port is closed for a moment, and what stalls or is idle ends: a stalled feed has no time
  /// limit of its own. Called about 20 times a second.
  void disturb() {
    if (mIsClosed) mProxy.openPort();
    mIsClosed = mRandom.below(400) == 0;
    if (mIsClosed) mProxy.closePort();
    if (mIsClosed || mUntilDrop-- == 0) {
      mProxy.dropConnections();
      // From a moment to half a minute, mostly short.
      mUntilDrop = mRandom.below(uint64{20} << mRandom.below(6));
    }
  }

  void heal() {
    mProxy.heal();
    if (mIsClosed) mProxy.openPort();
    mProxy.dropConnections();
  }

  void print(const char* name) const {
    static constexpr const char* sNames[] = {"none",  "reset", "close",        "deaf",    "stall",
                                             "delay", "cut",   "cut by reset", "corrupt", "slice"};
    std::cout << name << ": " << mProxy.getAcceptedConnections() << " connections;";
    for (size_t kind = 0; kind < RandomFaults::KindCount; ++kind) {
      std::cout << " " << sNames[kind] << " " << mFaults.getCount(static_cast<Fault::Kind>(kind));
    }
    std::cout << std::endl;
  }

 private:
  MixedDocuments mRandom;
  RandomFaults mFaults;
  bool mIsClosed = false;
  uint64 mUntilDrop = 100;
  FaultyProxy mProxy;
};

class RiverChaosTest : public LiveWorld {
 protected:
  void SetUp() override {
    LiveWorld::SetUp();
    if (IsSkipped()) return;
    for (const string& dbName : {mFirst, mSecond}) {
      createDatabase(dbName);
      bulkDocs(dbName, MixedDocuments(mSeed).makeMany(0, sDocuments));
    }
  }

  static CouchToEsRiverManager::Parameters through(const FaultyWay& toCouch, const FaultyWay& toEs) {
    CouchToEsRiverManager::Parameters given;
    given.couch = Url(toCouch.getUrl());
    given.es = Url(toEs.getUrl());
    given.workerCount = 3;
    given.maxDocsPerBatch = 50;
    given.refreshPeriodSec = 1;
    return given;
  }

  const unsigned mSeed = ChaosSeed();
  const string mFirst = freshName("chaos");
  const string mSecond = freshName("chaos");
};

TEST_F(RiverChaosTest, UnderRandomFaultsOnBothSidesNothingIsLost) {
  const uint64 seconds = NumberFromEnvironment("NETWEFT_CHAOS_SECONDS", sSeconds);
  const string one = freshName("a-chaos");
  const string two = freshName("b-chaos");
  const string other = freshName("c-chaos");
  const LogCapture log;
  // A batch is many exchanges with CouchDB and few with Elasticsearch.
  FaultyWay toCouch(couch().getPort(), mSeed, 80);
  FaultyWay toEs(es().getPort(), mSeed + 1, 6);
  CouchToEsRiverManager river(through(toCouch, toEs));
  river.addIndex(definition(mFirst, one));
  river.addIndex(definition(mFirst, two));
  river.addIndex(definition(mSecond, other));
  {
    const Writers writers(2, [&](MixedDocuments& documents) {
      disturbOne(documents.below(2) == 0 ? mFirst : mSecond, documents, sDocuments);
      qxThread::msleep(20);
    });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    const auto isOver = [&] {
      toCouch.disturb();
      toEs.disturb();
      return std::chrono::steady_clock::now() > end;
    };
    EXPECT_TRUE(waitFor(isOver, static_cast<int>(seconds) + 60));
  }
  toCouch.heal();
  toEs.heal();
  toCouch.print("CouchDB");
  toEs.print("Elasticsearch");
  std::cout << updateSeq(mFirst) + updateSeq(mSecond) << " changes, " << log.getLines(LT_Error).size()
            << " error lines of the River" << std::endl;
  EXPECT_FALSE(log.getLines(LT_Error).empty()) << "no fault has hit anything";
  // Databases that were written to for long take their time, on a busy machine above all.
  EXPECT_TRUE(waitInSync(river, mFirst, {one, two}, sPatienceSec));
  EXPECT_TRUE(waitInSync(river, mSecond, {other}, sPatienceSec));
  EXPECT_TRUE(becomesSame(mFirst, one, {}, sPatienceSec));
  EXPECT_TRUE(becomesSame(mFirst, two, {"--times", "2"}, sPatienceSec));
  EXPECT_TRUE(becomesSame(mSecond, other, {}, sPatienceSec));
  river.closeManager();
  for (const string& index : {one, two}) EXPECT_TRUE(holdsWhatItSays(mFirst, index));
  EXPECT_TRUE(holdsWhatItSays(mSecond, other));
  if (!HasFailure()) return;
  // Details too: which Worker had which sequences is what a lost change is found by.
  for (const CapturedLine& line : log.getLines()) std::cout << line << "\n";
}

}  // namespace
}  // namespace qx::test
