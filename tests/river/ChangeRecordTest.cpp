#include "netweft/river/internal/ChangeRecord.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace qx::couch {
namespace {

static_assert(std::is_nothrow_move_constructible_v<ChangeRecord> && std::is_nothrow_move_assignable_v<ChangeRecord>);
static_assert(!std::is_copy_constructible_v<ChangeRecord>);
static_assert(offsetof(ChangeRecord, id) == 0 && offsetof(ChangeRecord, rev) == 8 &&
              offsetof(ChangeRecord, seqAndDeleted) == 32 && offsetof(ChangeRecord, action) == 40 &&
              offsetof(ChangeRecord, commandBytes) == 48 && offsetof(ChangeRecord, body) == 56);
static_assert(CA_Pending == 0 && CA_Index == 1 && CA_Skip == 2 && CA_Delete == 3);

TEST(ChangeRecord, BeginsPendingAndEmpty) {
  const ChangeRecord record;
  EXPECT_EQ(record.id.view(), "");
  EXPECT_EQ(record.rev, CdbRev());
  EXPECT_EQ(record.getSeq(), 0U);
  EXPECT_FALSE(record.isDeleted());
  EXPECT_EQ(record.action, CA_Pending);
  EXPECT_EQ(record.commandBytes, 0U);
  EXPECT_TRUE(record.body.empty());
}

TEST(ChangeRecord, TheSequenceLeavesTheDeletionAlone) {
  ChangeRecord record;
  record.setDeleted(true);
  record.setSeq(ChangeRecord::sSeqMask);
  EXPECT_TRUE(record.isDeleted());
  EXPECT_EQ(record.getSeq(), 0x7fffffffffffffffULL);
  record.setSeq(5);
  EXPECT_TRUE(record.isDeleted());
  EXPECT_EQ(record.getSeq(), 5U);
}

TEST(ChangeRecord, TheDeletionLeavesTheSequenceAlone) {
  ChangeRecord record;
  record.setSeq(77);
  record.setDeleted(true);
  EXPECT_EQ(record.getSeq(), 77U);
  record.setDeleted(false);
  EXPECT_EQ(record.getSeq(), 77U);
  EXPECT_FALSE(record.isDeleted());
}

TEST(ChangeRecord, ASequenceBeyond63BitsLosesItsTopBit) {
  ChangeRecord record;
  record.setSeq(0x8000000000000003ULL);
  EXPECT_EQ(record.getSeq(), 3U);
  EXPECT_FALSE(record.isDeleted());
}

TEST(ChangeRecord, TheDeletionIsTheTopBitOfTheWord) {
  ChangeRecord record;
  record.setSeq(1);
  record.setDeleted(true);
  EXPECT_EQ(record.seqAndDeleted, 0x8000000000000001ULL);
}

}  // namespace
}  // namespace qx::couch
