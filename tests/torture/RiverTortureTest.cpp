#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/internal/Clock.h"
#include "tests/river/RiverWorld.h"
#include "tests/torture/TortureFixture.h"

#include <mutex>
#include <sstream>

namespace qx::couch::test {
namespace {

using qx::test::AllocationFault;
using qx::test::Attempt;
using qx::test::AwaitThreads;
using qx::test::FaultExemption;
using qx::test::IsTortureWhole;
using qx::test::Torture;

const string kDatabase = "a-database-with-a-name-that-is-long-enough";
const string kIndex = "an-index-with-a-name-that-is-long-enough";

/// Watches what reaches the index: a sequence that is stored must not lie beyond a document that is not there.
class Witness {
 public:
  void expect(uint64 seq, const string& id) {
    const std::lock_guard lock(mMutex);
    mExpected[seq] = id;
  }

  void see(const Request& request) {
    const std::lock_guard lock(mMutex);
    if (request.target.find("/_bulk") != string::npos) {
      seeBulk(request.body);
    } else if (request.method == "PUT") {
      seeMeta(request.body);
    }
  }

  vector<string> getLost() const {
    const std::lock_guard lock(mMutex);
    return mLost;
  }

 private:
  void seeBulk(const string& body) {
    std::istringstream lines(body);
    for (string line; std::getline(lines, line);) {
      qxVariantMapImpl command;
      if (!json::Json2Variant::Convert(line.data(), line.size(), command)) continue;
      for (const auto& [name, value] : command) {
        if (value.getType() == qxVariant::VT_Map) mSeen.insert(value.getMap().getString("_id", ""));
      }
    }
  }

  void seeMeta(const string& body) {
    qxVariantMapImpl mapping;
    json::Json2Variant::Convert(body.data(), body.size(), mapping);
    const qxVariant* stored = mapping.findValuePath("_meta/lastrefreshseq", '/');
    if (stored == nullptr) return;
    for (const auto& [seq, id] : mExpected) {
      if (seq <= static_cast<uint64>(stored->toInteger()) && !mSeen.contains(id)) mLost.push_back(id);
    }
  }

  mutable std::mutex mMutex;
  map<uint64, string> mExpected;
  set<string> mSeen;
  vector<string> mLost;
};

class RiverTortureTest : public Torture<RiverWorld> {
 protected:
  RiverTortureTest() {
    mEs.setObserver([witness = mWitness](const Request& request) { witness->see(request); });
  }

  string put(const string& db) {
    const string id = "document-with-a-long-identifier-" + std::to_string(++mPut);
    mWitness->expect(mCouch.put(db, id, R"(,"a member with a long name":"a text with a good length, )" + id + "\""),
                     id);
    return id;
  }

  /// Each back-off is over as soon as it has begun. Nobody is woken before the time in the long runs.
  bool untilThere(const string& index, const string& id) {
    int turns = 0;
    return Until([&] {
      if (++turns % 4 == 0) {
        impl::AdvanceClock(61000);
        if (!IsTortureWhole()) mRiver->removeIndex("nobody", false);
      }
      return mEs.getDocuments(index).contains(id);
    });
  }

  /// The server keeps it until it ends itself.
  const shared_ptr<Witness> mWitness = std::make_shared<Witness>();

 private:
  uint64 mPut = 0;
};

TEST_F(RiverTortureTest, WhateverFailsTheIndexGetsEachChange) {
  start();
  mRiver->addIndex(Definition(kDatabase, kIndex));
  ASSERT_TRUE(untilThere(kIndex, put(kDatabase)));
  size_t points = 0;
  size_t quiet = 0;
  while (quiet < 3) {
    const string id = put(kDatabase);
    AllocationFault fault(AllocationFault::NewPlaces{IsTortureWhole() ? 1u : 2u});
    const FaultExemption own;
    const bool isThere = untilThere(kIndex, id);
    fault.disarm();
    if (!isThere) fault.printPlace();
    ASSERT_TRUE(isThere) << "failure point " << points;
    quiet = fault.wasHit() ? 0 : quiet + 1;
    if (fault.wasHit()) ++points;
  }
  EXPECT_EQ(mWitness->getLost(), vector<string>());
  for (const char* name : {"nw-river", "nw-river-w1", "nw-river-w2"}) EXPECT_TRUE(AwaitThreads(name, 1)) << name;
  qx::test::ReportPoints(points);
}

TEST_F(RiverTortureTest, ALifeFromItsStartToItsEndTellsOrGoesOn) {
  int life = 0;
  failEachSingle(
      [&](Attempt& attempt) {
        const string db = kDatabase + std::to_string(++life);
        const string index = kIndex + std::to_string(life);
        string id;
        {
          const FaultExemption own;
          id = put(db);
        }
        const IndexDefinition definition = Definition(db, index);
        const auto live = [&] {
          if (mRiver == nullptr) mRiver = std::make_unique<CouchToEsRiverManager>(mParameters);
          mRiver->addIndex(definition);
          {
            const FaultExemption own;
            EXPECT_TRUE(untilThere(index, id));
          }
          mRiver->removeIndex(index, false);
          mRiver.reset();
        };
        if (attempt.runsOut(live)) live();
        mRiver.reset();
      },
      17);
  EXPECT_EQ(mWitness->getLost(), vector<string>());
}

}  // namespace
}  // namespace qx::couch::test
