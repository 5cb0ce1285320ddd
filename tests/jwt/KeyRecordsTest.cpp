#include "netweft/jwt/internal/KeyRecords.h"

#include <gtest/gtest.h>

namespace qx::jwt {
namespace {

constexpr int64 kLifetime = 43200;

/// Records told apart by their rejection.
KeyRecord MakeRecord(const string& mark, int64 fetchedAtSec) { return {nullptr, 0, fetchedAtSec, mark}; }

class KeyRecordsTest : public testing::Test {
 protected:
  void add(const string& kid, int64 fetchedAtSec) { records.add(kid, MakeRecord(kid, fetchedAtSec)); }

  /// The mark of what is found; empty when nothing is.
  string find(const string& kid, int64 nowSec) const {
    const KeyRecord* record = records.findFresh(kid, nowSec);
    return record == nullptr ? "" : record->rejection;
  }

  KeyRecords records;
};

TEST_F(KeyRecordsTest, ARecordIsFoundUntilItsLifetimeIsOver) {
  add("a", 100);
  EXPECT_EQ(find("a", 100), "a");
  EXPECT_EQ(find("a", 100 + kLifetime), "a");
  EXPECT_EQ(find("a", 100 + kLifetime + 1), "");
}

TEST_F(KeyRecordsTest, AnUnknownIdentifierIsNotFound) {
  add("a", 100);
  EXPECT_EQ(find("b", 100), "");
  EXPECT_EQ(find("", 100), "");
}

TEST_F(KeyRecordsTest, ARecordIsClearedOneSecondAfterItsLifetime) {
  add("a", 100);
  records.clearExpired(100 + kLifetime);
  EXPECT_EQ(records.size(), 1U);
  records.clearExpired(100 + kLifetime + 1);
  EXPECT_EQ(records.size(), 0U);
  EXPECT_FALSE(records.moveToEnd("a"));
}

TEST_F(KeyRecordsTest, ClearingStopsAtTheFirstFreshRecord) {
  add("a", 0);
  add("b", 10);
  add("c", 20);
  records.clearExpired(11 + kLifetime);
  EXPECT_EQ(records.size(), 1U);
  EXPECT_EQ(find("c", 11 + kLifetime), "c");
}

TEST_F(KeyRecordsTest, ClearingNothingIsHarmless) {
  records.clearExpired(1000000);
  EXPECT_EQ(records.size(), 0U);
}

TEST_F(KeyRecordsTest, AKnownIdentifierKeepsItsRecord) {
  add("a", 100);
  records.add("a", MakeRecord("another", 200));
  EXPECT_EQ(records.size(), 1U);
  EXPECT_EQ(find("a", 200), "a");
  EXPECT_EQ(find("a", 101 + kLifetime), "");
}

TEST_F(KeyRecordsTest, MovingAnUnknownIdentifierDoesNothing) {
  EXPECT_FALSE(records.moveToEnd("a"));
  EXPECT_EQ(records.size(), 0U);
}

TEST_F(KeyRecordsTest, MovingDoesNotRenew) {
  add("a", 100);
  EXPECT_TRUE(records.moveToEnd("a"));
  EXPECT_EQ(find("a", 100 + kLifetime), "a");
  EXPECT_EQ(find("a", 101 + kLifetime), "");
}

TEST_F(KeyRecordsTest, ARecordBehindYoungerOnesStaysPastItsLifetimeAndIsNotFound) {
  add("old", 0);
  add("young", 10000);
  EXPECT_TRUE(records.moveToEnd("old"));
  records.clearExpired(kLifetime + 1);
  EXPECT_EQ(records.size(), 2U);
  EXPECT_EQ(find("old", kLifetime + 1), "");
  EXPECT_EQ(find("young", kLifetime + 1), "young");
}

TEST_F(KeyRecordsTest, ARecordPastItsLifetimeStillBlocksItsIdentifier) {
  add("old", 0);
  add("young", 10000);
  records.moveToEnd("old");
  records.clearExpired(kLifetime + 1);
  EXPECT_TRUE(records.moveToEnd("old"));
  records.add("old", MakeRecord("new", kLifetime + 1));
  EXPECT_EQ(find("old", kLifetime + 1), "");
}

TEST_F(KeyRecordsTest, ARecordBehindYoungerOnesLeavesWithThem) {
  add("old", 0);
  add("young", 10000);
  records.moveToEnd("old");
  records.clearExpired(10000 + kLifetime);
  EXPECT_EQ(records.size(), 2U);
  records.clearExpired(10001 + kLifetime);
  EXPECT_EQ(records.size(), 0U);
  add("old", 10001 + kLifetime);
  EXPECT_EQ(find("old", 10001 + kLifetime), "old");
}

TEST_F(KeyRecordsTest, ManyRecordsLeaveInTheOrderOfTheirAge) {
  for (int i = 0; i < 1000; ++i) add(std::to_string(i), i);
  for (int i = 0; i < 1000; i += 100) {
    records.clearExpired(i + kLifetime);
    EXPECT_EQ(records.size(), static_cast<size_t>(1000 - i));
  }
}

}  // namespace
}  // namespace qx::jwt
