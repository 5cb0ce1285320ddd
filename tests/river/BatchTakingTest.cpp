#include "netweft/river/internal/BatchTaking.h"

#include "netweft/base/system/internal/Clock.h"
#include "netweft/base/system/qxSystemUtils.h"

#include <gtest/gtest.h>

namespace qx::couch {
namespace {

ChangeRecord Change(const string& id, uint64 seq) {
  ChangeRecord record;
  record.id = DocumentId(id);
  record.setSeq(seq);
  return record;
}

void Queue(DbEntry& entry, const string& id, uint64 seq) {
  entry.queue.insert(Change(id, seq), entry.queue.end(), ChangeQueue::IM_Move);
}

vector<string> Ids(ChangeQueue& queue) {
  vector<string> ids;
  for (const ChangeRecord& record : queue) ids.push_back(record.id.toString());
  return ids;
}

class BatchTakingTest : public testing::Test {
 protected:
  DbEntry& add(const string& name, int64 lastRunSec, int changes) {
    DbEntry& entry = mDatabases[name];
    entry.dbName = name;
    entry.generation = 3;
    entry.epoch = 7;
    entry.openedEpoch = 7;
    entry.identity = 5;
    entry.lastRunSec = lastRunSec;
    for (int i = 0; i < changes; ++i) Queue(entry, "d" + std::to_string(i), static_cast<uint64>(i + 1));
    return entry;
  }

  map<string, DbEntry> mDatabases;
  RiverParameters mParameters;
};

TEST_F(BatchTakingTest, NothingToChooseFromGivesNull) { EXPECT_EQ(ChooseEntry(mDatabases), nullptr); }

TEST_F(BatchTakingTest, TheDatabaseWhoseLastBatchIsOldestIsChosen) {
  add("a", 30, 1);
  add("b", 10, 1);
  add("c", 20, 1);
  EXPECT_EQ(ChooseEntry(mDatabases)->dbName, "b");
}

TEST_F(BatchTakingTest, AmongEqualsTheLastInKeyOrderIsChosen) {
  add("a", 10, 1);
  add("b", 10, 1);
  add("c", 10, 1);
  EXPECT_EQ(ChooseEntry(mDatabases)->dbName, "c");
}

TEST_F(BatchTakingTest, AnEmptyQueueIsPassedOver) {
  add("a", 10, 1);
  add("b", 0, 0);
  EXPECT_EQ(ChooseEntry(mDatabases)->dbName, "a");
}

TEST_F(BatchTakingTest, ADatabaseInItsFetchPhaseIsPassedOverAndOneInItsIndexPhaseIsNot) {
  add("a", 0, 1).phaseFlags = PF_Fetch;
  add("b", 50, 1).phaseFlags = PF_Index;
  EXPECT_EQ(ChooseEntry(mDatabases)->dbName, "b");
}

TEST_F(BatchTakingTest, ADatabaseThatIsToBeOpenedAnewIsPassedOver) {
  add("a", 0, 1).epoch = 8;
  EXPECT_EQ(ChooseEntry(mDatabases), nullptr);
  add("b", 50, 1);
  EXPECT_EQ(ChooseEntry(mDatabases)->dbName, "b");
}

TEST_F(BatchTakingTest, ABatchKnowsWhatItWasTakenFrom) {
  DbEntry& entry = add("db", 0, 2);
  entry.indexes["i2"].creationDescriptor = "c2";
  entry.indexes["i1"].creationDescriptor = "c1";
  const int64 before = qxSystemUtils::GetTimeBaseSec();
  const RiverBatch batch = TakeBatch(entry, mParameters);
  EXPECT_EQ(batch.dbName, "db");
  EXPECT_EQ(batch.generation, 3U);
  EXPECT_EQ(batch.epoch, 7U);
  EXPECT_EQ(batch.entryIdentity, 5U);
  ASSERT_EQ(batch.indexes.size(), 2U);
  EXPECT_EQ(batch.indexes[0].name, "i1");
  EXPECT_EQ(batch.indexes[0].creationDescriptor, "c1");
  EXPECT_EQ(batch.indexes[1].name, "i2");
  EXPECT_EQ(batch.heldPhase, PF_Fetch);
  EXPECT_EQ(entry.phaseFlags, PF_Fetch);
  EXPECT_GE(entry.lastRunSec, before);
}

TEST_F(BatchTakingTest, ChangesLeaveTheQueueFromItsHeadUpToTheLimit) {
  DbEntry& entry = add("db", 0, 5);
  mParameters.maxDocsPerBatch = 3;
  const RiverBatch batch = TakeBatch(entry, mParameters);
  ASSERT_EQ(batch.records.size(), 3U);
  EXPECT_EQ(batch.records.front().getSeq(), 1U);
  EXPECT_EQ(batch.records.back().getSeq(), 3U);
  EXPECT_EQ(Ids(entry.queue), (vector<string>{"d3", "d4"}));
}

TEST_F(BatchTakingTest, ALimitUnderOneActsAsOne) {
  DbEntry& entry = add("db", 0, 3);
  mParameters.maxDocsPerBatch = -4;
  EXPECT_EQ(TakeBatch(entry, mParameters).records.size(), 1U);
}

TEST_F(BatchTakingTest, ABatchThatDrainsTheQueueEndsWithARefresh) {
  DbEntry& entry = add("db", 0, 3);
  entry.refreshTimer.snapTime();
  EXPECT_TRUE(TakeBatch(entry, mParameters).refreshNow);
}

TEST_F(BatchTakingTest, WithChangesLeftItEndsWithARefreshOncePerPeriod) {
  DbEntry& entry = add("db", 0, 9);
  mParameters.maxDocsPerBatch = 2;
  mParameters.refreshPeriodSec = 60;
  EXPECT_TRUE(TakeBatch(entry, mParameters).refreshNow) << "a timer never marked counts as elapsed";
  EXPECT_FALSE(TakeBatch(entry, mParameters).refreshNow);
  impl::AdvanceClock(60'000);
  EXPECT_TRUE(TakeBatch(entry, mParameters).refreshNow);
  EXPECT_FALSE(TakeBatch(entry, mParameters).refreshNow) << "the refresh marked the timer anew";
}

TEST_F(BatchTakingTest, RecordsThatWereLeftComeBackToTheHeadInOrderAndUndecided) {
  DbEntry& entry = add("db", 0, 2);
  list<ChangeRecord> left;
  left.push_back(Change("x", 10));
  left.back().action = CA_Index;
  left.back().commandBytes = 99;
  left.back().body.assign(1000, 'b');
  left.push_back(Change("y", 11));
  RequeueRecords(entry, left);
  EXPECT_TRUE(left.empty());
  EXPECT_EQ(Ids(entry.queue), (vector<string>{"x", "y", "d0", "d1"}));
  EXPECT_EQ(entry.queue.begin()->commandBytes, 0U);
  EXPECT_EQ(entry.queue.begin()->body.capacity(), 0U);
  EXPECT_EQ(TakeBatch(entry, mParameters).records.front().action, CA_Pending);
}

TEST_F(BatchTakingTest, ANewerChangeOfTheSameDocumentStaysWhereItIsAndWins) {
  DbEntry& entry = add("db", 0, 0);
  Queue(entry, "other", 20);
  Queue(entry, "x", 21);
  list<ChangeRecord> left;
  left.push_back(Change("x", 10));
  RequeueRecords(entry, left);
  EXPECT_EQ(Ids(entry.queue), (vector<string>{"other", "x"}));
  EXPECT_EQ(std::next(entry.queue.begin())->getSeq(), 21U);
}

TEST_F(BatchTakingTest, RecordsComeBackIntoAnEmptyQueue) {
  DbEntry& entry = add("db", 0, 0);
  list<ChangeRecord> left;
  left.push_back(Change("x", 10));
  left.push_back(Change("y", 11));
  RequeueRecords(entry, left);
  EXPECT_EQ(Ids(entry.queue), (vector<string>{"x", "y"}));
}

TEST_F(BatchTakingTest, ABatchTooLargeHalvesTheNextOnesDownToOne) {
  DbEntry& entry = add("db", 0, 30);
  ShrinkBatches(entry, 9);
  EXPECT_EQ(TakeBatch(entry, mParameters).records.size(), 4U);
  ShrinkBatches(entry, 4);
  EXPECT_EQ(TakeBatch(entry, mParameters).records.size(), 2U);
  ShrinkBatches(entry, 2);
  ShrinkBatches(entry, 1);
  EXPECT_EQ(TakeBatch(entry, mParameters).records.size(), 1U);
}

TEST_F(BatchTakingTest, SuccessesDoubleTheLimitUntilItIsGone) {
  DbEntry& entry = add("db", 0, 0);
  mParameters.maxDocsPerBatch = 40;
  ShrinkBatches(entry, 20);
  for (int i = 0; i < 16; ++i) {
    GrowBatches(entry, mParameters);
    EXPECT_EQ(entry.batchDocLimit, 10U);
  }
  GrowBatches(entry, mParameters);
  EXPECT_EQ(entry.batchDocLimit, 20U);
  GrowBatches(entry, mParameters);
  EXPECT_EQ(entry.batchDocLimit, 0U) << "at the parameters' own limit there is no other";
  GrowBatches(entry, mParameters);
  EXPECT_EQ(entry.batchDocLimit, 0U);
}

}  // namespace
}  // namespace qx::couch
