#include "netweft/river/internal/DbEntry.h"

#include "tests/river/LayoutOrder.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace qx::couch {
namespace {

static_assert(std::is_move_constructible_v<DbEntry> && !std::is_copy_constructible_v<DbEntry>);
static_assert(PF_Fetch == 1 && PF_Index == 2);

TEST(DbEntry, BeginsWithNothing) {
  const DbEntry entry;
  EXPECT_EQ(entry.dbName, "");
  EXPECT_TRUE(entry.indexes.empty());
  EXPECT_TRUE(entry.queue.empty());
  EXPECT_EQ(entry.generation, 0U);
  EXPECT_EQ(entry.lastRunSec, 0);
  EXPECT_EQ(entry.phaseFlags, 0);
  EXPECT_EQ(entry.batchDocLimit, 0U);
}

TEST(DbEntry, TheFirstRefreshIsDueAtOnce) {
  const DbEntry entry;
  EXPECT_FALSE(entry.refreshTimer.isTimeSnapped());
  EXPECT_TRUE(entry.refreshTimer.isElapsedSec(60));
}

TEST(DbEntry, FieldsKeepTheirOrder) {
  const DbEntry e;
  EXPECT_TRUE(test::AreInOrder(
      {&e.dbName, &e.indexes, &e.queue, &e.generation, &e.lastRunSec, &e.refreshTimer, &e.phaseFlags}));
}

TEST(DbEntry, AnIndexIsItsDefinitionAndWhatIsKnownOfIt) {
  const IndexEntry index;
  EXPECT_EQ(index.creationDescriptor, "");
  EXPECT_EQ(index.lastRefreshSeq, 0U);
  EXPECT_TRUE(test::AreInOrder({&index.definition, &index.creationDescriptor, &index.lastRefreshSeq}));
}

}  // namespace
}  // namespace qx::couch
