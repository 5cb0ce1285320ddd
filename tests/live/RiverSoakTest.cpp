#include "tests/live/LiveWorld.h"
#include "tests/live/ProcessProbe.h"
#include "tests/live/Writers.h"

#include <algorithm>
#include <iostream>

namespace qx::test {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr uint64 sDatabases = 50;
constexpr uint64 sDocuments = 40;
constexpr uint64 sIdleSec = 20;

/// The most that a process held while it was looked at, once a second.
struct Peak {
  uint64 descriptors = 0;
  uint64 threads = 0;
  uint64 residentKb = 0;

  Peak(pid_t pid, seconds duration) {
    for (const auto end = steady_clock::now() + duration; steady_clock::now() < end; qxThread::msleep(1'000)) {
      const ProcessProbe now(pid);
      descriptors = std::max(descriptors, now.descriptors);
      threads = std::max(threads, now.threads);
      residentKb = std::max(residentKb, now.residentKb);
    }
    std::cout << descriptors << " descriptors, " << threads << " threads, " << residentKb << " kB" << std::endl;
  }
};

class RiverSoakTest : public LiveWorld {
 protected:
  void SetUp() override {
    LiveWorld::SetUp();
    if (IsSkipped()) return;
    for (uint64 number = 0; number < sDatabases; ++number) {
      createDatabase(databaseName(number));
      bulkDocs(databaseName(number), MixedDocuments(static_cast<unsigned>(number)).makeMany(0, sDocuments));
    }
  }

  string databaseName(uint64 number) const { return mDb + "-" + std::to_string(number); }
  string indexName(uint64 number) const { return mIndex + "-" + std::to_string(number); }

  unique_ptr<ChildProcess> startRiver() const {
    return std::make_unique<ChildProcess>(vector<string>{"env", "NETWEFT_RIVER_DATABASES=" + std::to_string(sDatabases),
                                                         NETWEFT_RIVER_CHILD, couch().getUrl(), es().getUrl(), mDb,
                                                         mIndex});
  }

  bool becomesSameEverywhere() const {
    bool same = true;
    for (uint64 number = 0; number < sDatabases; ++number) {
      same &= becomesSame(databaseName(number), indexName(number));
    }
    return same;
  }

  const string mDb = freshName("soak");
  const string mIndex = freshName("a-soak");
};

TEST_F(RiverSoakTest, WithSteadyWritesToFiftyDatabasesNothingGrowsAndAtRestNothingSpins) {
  const seconds part(NumberFromEnvironment("NETWEFT_SOAK_SECONDS", 60) / 4);
  const unique_ptr<ChildProcess> river = startRiver();
  ASSERT_TRUE(becomesSameEverywhere());
  {
    const Writers writers(2, [&](MixedDocuments& documents) {
      disturbOne(databaseName(documents.below(sDatabases)), documents, sDocuments);
      qxThread::msleep(10);
    });
    const Peak warmUp(river->getPid(), part);
    const Peak first(river->getPid(), part);
    const Peak between(river->getPid(), part);
    const Peak last(river->getPid(), part);
    EXPECT_GT(first.descriptors, sDatabases) << "a feed each";
    EXPECT_LE(last.descriptors, std::max(warmUp.descriptors, first.descriptors) + 2);
    EXPECT_EQ(last.threads, first.threads);
    EXPECT_LE(last.residentKb, first.residentKb + first.residentKb / 20);
  }
  ASSERT_TRUE(becomesSameEverywhere());

  const ProcessProbe before(river->getPid());
  qxThread::msleep(sIdleSec * 1'000);  // idleness is what is measured
  const uint64 usedMs = ProcessProbe(river->getPid()).cpuMs - before.cpuMs;
  std::cout << usedMs << " ms of processor time in " << sIdleSec << " s at rest" << std::endl;
  EXPECT_LE(usedMs, sIdleSec * 1'000 / 100);
  EXPECT_EQ(river->wait(0), -1) << "the River has ended";
}

}  // namespace
}  // namespace qx::test
