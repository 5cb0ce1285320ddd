#include "netweft/base/system/internal/Utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace qx::impl {
namespace {

TEST(Utf8, ValidSequencesHaveTheirLength) {
  EXPECT_EQ(Utf8SequenceLength("a", 0), 1U);
  EXPECT_EQ(Utf8SequenceLength(std::string_view("\0", 1), 0), 1U);
  EXPECT_EQ(Utf8SequenceLength("\x7F", 0), 1U);
  EXPECT_EQ(Utf8SequenceLength("\xC2\x80", 0), 2U);
  EXPECT_EQ(Utf8SequenceLength("\xDF\xBF", 0), 2U);
  EXPECT_EQ(Utf8SequenceLength("\xE0\xA0\x80", 0), 3U);
  EXPECT_EQ(Utf8SequenceLength("\xED\x9F\xBF", 0), 3U);
  EXPECT_EQ(Utf8SequenceLength("\xEE\x80\x80", 0), 3U);
  EXPECT_EQ(Utf8SequenceLength("\xF0\x90\x80\x80", 0), 4U);
  EXPECT_EQ(Utf8SequenceLength("\xF4\x8F\xBF\xBF", 0), 4U);
}

TEST(Utf8, InvalidSequencesHaveNone) {
  for (const char* text :
       {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\x41", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xE2\x82",
        "\xE2\x82\x41", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF0\x9F\x98", "\xFF"}) {
    EXPECT_EQ(Utf8SequenceLength(text, 0), 0U);
  }
}

TEST(Utf8, PositionTellsWhereTheSequenceStarts) {
  EXPECT_EQ(Utf8SequenceLength("a\xC3\xA9", 1), 2U);
  EXPECT_EQ(Utf8SequenceLength("a\xC3\xA9", 2), 0U);
}

TEST(Utf8, CutStandsBeforeACharacterThatWouldBeTorn) {
  const std::string text = "ab\xF0\x9F\x98\x80z";
  EXPECT_EQ(Utf8CutLength(text, 2), 2U);
  for (size_t limit : {3U, 4U, 5U}) EXPECT_EQ(Utf8CutLength(text, limit), 2U);
  EXPECT_EQ(Utf8CutLength(text, 6), 6U);
  EXPECT_EQ(Utf8CutLength(text, 7), 7U);
  EXPECT_EQ(Utf8CutLength(text, 100), 7U);
}

TEST(Utf8, CutOfWhatIsNotUtf8StaysAtTheLimit) { EXPECT_EQ(Utf8CutLength(std::string(20, '\x80'), 10), 10U); }

}  // namespace
}  // namespace qx::impl
