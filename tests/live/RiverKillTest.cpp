#include "tests/live/LiveWorld.h"
#include "tests/live/Writers.h"

#include <csignal>
#include <iostream>

namespace qx::test {
namespace {

/// A moment at which the River's process is killed.
struct Moment {
  const char* name;
  /// It is passed up to so often before the kill.
  uint64 times;
  enum { Always, WhenBuiltAnew, WhenWidened } passed;
};

constexpr Moment sMoments[] = {
    {"feed-opened", 1, Moment::Always},
    {"changes-queued", 4, Moment::Always},
    {"document-fetched", 120, Moment::Always},
    {"batch-fetched", 6, Moment::Always},
    {"bulk-posted", 1, Moment::Always},  // between the two indexes
    {"bulk-posted", 8, Moment::Always},
    {"index-refreshed", 4, Moment::Always},
    {"sequence-read", 4, Moment::Always},
    {"sequence-stored", 4, Moment::Always},
    {"batch-done", 6, Moment::Always},
    {"index-outdated", 2, Moment::WhenBuiltAnew},
    {"deletion-sent", 2, Moment::WhenBuiltAnew},
    {"index-deleted", 2, Moment::WhenBuiltAnew},
    {"index-created", 2, Moment::WhenBuiltAnew},
    {"settings-read", 2, Moment::WhenBuiltAnew},
    {"descriptor-stored", 2, Moment::WhenBuiltAnew},
    {"index-widened", 2, Moment::WhenWidened},
};

/// Nothing is stored before all indexes of the database are as they should be.
constexpr Moment sIndexesStand{"sequence-stored", 1, Moment::Always};

constexpr uint64 sDocuments = 300;
constexpr int sMomentMs = 120'000;

class RiverKillTest : public LiveWorld {
 protected:
  void SetUp() override {
    LiveWorld::SetUp();
    if (IsSkipped()) return;
    mDb = freshName("kills");
    createDatabase(mDb);
    bulkDocs(mDb, MixedDocuments(mSeed).makeMany(0, sDocuments));
  }

  unique_ptr<ChildProcess> startRiver(const string& kill) const {
    vector<string> command = {"env",
                              "NETWEFT_RIVER_VERSION=" + std::to_string(mVersion),
                              "NETWEFT_RIVER_FIELDS=" + std::to_string(mFields),
                              "NETWEFT_RIVER_BATCH=50",
                              NETWEFT_RIVER_CHILD,
                              couch().getUrl(),
                              es().getUrl(),
                              mDb};
    if (!kill.empty()) command.insert(command.begin() + 1, "NETWEFT_RIVER_KILL=" + kill);
    command.insert(command.end(), mIndexes.begin(), mIndexes.end());
    return std::make_unique<ChildProcess>(command);
  }

  /// "NAME:COUNT", and what makes the River pass that moment.
  string prepare(const Moment& moment) {
    if (moment.passed == Moment::WhenBuiltAnew) ++mVersion;
    if (moment.passed == Moment::WhenWidened) ++mFields;
    return string(moment.name) + ":" + std::to_string(1 + mRandom.below(moment.times));
  }

  /// With the River's clock running ahead, so that no back-off and no refresh period is waited out.
  void dieAt(const Moment& moment) {
    const string kill = prepare(moment);
    const unique_ptr<ChildProcess> river = startRiver(kill);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(sMomentMs);
    int status = -1;
    while (status == -1 && std::chrono::steady_clock::now() < deadline) {
      river->writeLine("advance 2000");
      status = river->wait(50);
    }
    ASSERT_EQ(status, 128 + SIGKILL) << kill << " was not reached";
  }

  void dieSometime() {
    if (mRandom.below(4) == 0) ++mVersion;
    const unique_ptr<ChildProcess> river = startRiver("");
    const int after = static_cast<int>(mRandom.below(sRandomMs));
    for (int waited = 0; waited < after; waited += 50) {
      river->writeLine("advance 2000");
      ASSERT_EQ(river->wait(50), -1) << "the River ended by itself";
    }
    river->kill(SIGKILL);
    ASSERT_EQ(river->wait(10'000), 128 + SIGKILL);
  }

  bool holdWhatTheySay() const { return holdsWhatItSays(mDb, mIndexes[0]) && holdsWhatItSays(mDb, mIndexes[1]); }

#if defined(NETWEFT_SANITIZED)
  static constexpr uint64 sKills = 20;
  static constexpr uint64 sRandomMs = 4'000;
#else
  static constexpr uint64 sKills = 34;
  static constexpr uint64 sRandomMs = 1'500;
#endif

  const unsigned mSeed = ChaosSeed();
  MixedDocuments mRandom{mSeed};
  const vector<string> mIndexes = {freshName("a-killed"), freshName("b-killed")};
  string mDb;
  int mVersion = 1;
  int mFields = 0;
};

TEST_F(RiverKillTest, AtNoMomentIsADocumentLostOrASequenceStoredAheadOfTheData) {
  const uint64 kills = NumberFromEnvironment("NETWEFT_KILLS", sKills);
  {
    const Writers writers(1, [&](MixedDocuments& documents) {
      disturbOne(mDb, documents, sDocuments);
      qxThread::msleep(10);
    });
    for (uint64 kill = 0; kill < kills; ++kill) {
      // Every other kill is a random one; the named ones begin at a random one, so that a few runs see them all.
      if (kill % 2 == 0) {
        const Moment& moment = sMoments[(mSeed + kill / 2) % std::size(sMoments)];
        // Only an index that stands can be outdated or widened, and what came before may have left none.
        if (moment.passed != Moment::Always) dieAt(sIndexesStand);
        dieAt(moment);
      } else {
        dieSometime();
      }
      if (HasFatalFailure()) return;
      ASSERT_TRUE(holdWhatTheySay()) << "after kill " << kill;
    }
  }
  const unique_ptr<ChildProcess> river = startRiver("");
  const auto allTheSame = [&] {
    river->writeLine("advance 20000");
    return isSame(mDb, mIndexes[0]) && isSame(mDb, mIndexes[1], {"--times", "2"});
  };
  EXPECT_TRUE(waitFor(allTheSame, 180));
  EXPECT_TRUE(holdWhatTheySay());
  std::cout << kills << " kills, " << updateSeq(mDb) << " changes, " << mVersion << " builds of each index"
            << std::endl;
}

}  // namespace
}  // namespace qx::test
