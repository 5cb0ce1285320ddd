#include "netweft/couch/internal/FeedBuffer.h"

#include <gmock/gmock.h>

namespace qx::test {
namespace {

using couch::FeedBuffer;
using testing::ElementsAre;
using testing::IsEmpty;

class FeedBufferTest : public testing::Test {
 protected:
  vector<string> append(const string& text) {
    buffer.append(text.data(), text.size());
    vector<string> lines;
    std::string_view line;
    while (buffer.takeLine(line)) lines.emplace_back(line);
    return lines;
  }

  FeedBuffer buffer;
};

TEST_F(FeedBufferTest, LinesAreTakenWithoutTheirLineFeed) {
  EXPECT_THAT(append("one\ntwo\nrest"), ElementsAre("one", "two"));
  EXPECT_EQ(buffer.view(), "rest");
}

TEST_F(FeedBufferTest, ALineIsTakenWhenItsLineFeedArrives) {
  EXPECT_THAT(append("on"), IsEmpty());
  EXPECT_THAT(append("e"), IsEmpty());
  EXPECT_THAT(append("\nt"), ElementsAre("one"));
  EXPECT_EQ(buffer.view(), "t");
}

TEST_F(FeedBufferTest, AnEmptyLineIsALine) { EXPECT_THAT(append("one\n\ntwo\n"), ElementsAre("one", "", "two")); }

TEST_F(FeedBufferTest, LineFeedsThatStandFirstCanBeDropped) {
  buffer.append("\n\n\none\n", 7);
  buffer.skipLineFeeds();
  EXPECT_EQ(buffer.view(), "one\n");
  EXPECT_THAT(append(""), ElementsAre("one"));
}

TEST_F(FeedBufferTest, LineFeedsAloneLeaveNothing) {
  buffer.append("\n\n", 2);
  buffer.skipLineFeeds();
  EXPECT_EQ(buffer.view(), "");
  EXPECT_THAT(append("one\n"), ElementsAre("one"));
}

TEST_F(FeedBufferTest, ClearForgetsWhatWasSearched) {
  append("a long piece without its end");
  buffer.clear();
  EXPECT_EQ(buffer.view(), "");
  EXPECT_THAT(append("x\n"), ElementsAre("x"));
}

TEST_F(FeedBufferTest, ALineOfManyPiecesIsSearchedOnce) {
  // Searched anew for each piece this would look at some 10^11 bytes.
  const string piece(16, 'x');
  for (int i = 0; i < 100000; ++i) buffer.append(piece.data(), piece.size());
  std::string_view line;
  for (int i = 0; i < 100000; ++i) ASSERT_FALSE(buffer.takeLine(line));
  EXPECT_THAT(append("\n"), ElementsAre(string(16 * 100000, 'x')));
}

}  // namespace
}  // namespace qx::test
