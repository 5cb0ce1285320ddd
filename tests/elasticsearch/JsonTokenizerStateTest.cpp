#include "netweft/elasticsearch/internal/JsonTokenizerState.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <string_view>

namespace qx::elasticsearch {
namespace {

static_assert(offsetof(JsonTokenizerState, prevSquareDepth) < offsetof(JsonTokenizerState, squareDepth) &&
              offsetof(JsonTokenizerState, squareDepth) < offsetof(JsonTokenizerState, prevCurlyDepth) &&
              offsetof(JsonTokenizerState, prevCurlyDepth) < offsetof(JsonTokenizerState, curlyDepth) &&
              offsetof(JsonTokenizerState, curlyDepth) < offsetof(JsonTokenizerState, stringDone) &&
              offsetof(JsonTokenizerState, stringDone) < offsetof(JsonTokenizerState, valueDone) &&
              offsetof(JsonTokenizerState, valueDone) < offsetof(JsonTokenizerState, escaped) &&
              offsetof(JsonTokenizerState, escaped) < offsetof(JsonTokenizerState, stringStart) &&
              offsetof(JsonTokenizerState, stringStart) < offsetof(JsonTokenizerState, stringEnd) &&
              offsetof(JsonTokenizerState, stringEnd) < offsetof(JsonTokenizerState, stringCarry) &&
              offsetof(JsonTokenizerState, stringCarry) < offsetof(JsonTokenizerState, inString) &&
              offsetof(JsonTokenizerState, inString) < offsetof(JsonTokenizerState, valueStart) &&
              offsetof(JsonTokenizerState, valueStart) < offsetof(JsonTokenizerState, valueEnd) &&
              offsetof(JsonTokenizerState, valueEnd) < offsetof(JsonTokenizerState, valueCarry) &&
              offsetof(JsonTokenizerState, valueCarry) < offsetof(JsonTokenizerState, inValue));

/// Of a string that goes on in the next chunk all is kept.
constexpr size_t sWhole = std::numeric_limits<size_t>::max();

/// The strings and values that end in `text`, in order, cut into chunks of `chunkSize` bytes.
struct Walk {
  vector<string> strings;
  vector<string> values;
  JsonTokenizerState state;

  Walk(std::string_view text, size_t chunkSize) {
    for (size_t at = 0; at < text.size(); at += chunkSize) take(text.substr(at, chunkSize));
  }

  void take(std::string_view piece) {
    const vector<char> chunk(piece.begin(), piece.end());
    state.beginChunk(chunk.data());
    for (const char& byte : chunk) {
      state.consume(&byte);
      if (string joined; state.stringDone) strings.emplace_back(state.viewString(joined));
      if (state.valueDone) values.push_back(state.valueCarry + string(state.valueStart, state.valueEnd));
    }
    state.endChunk(sWhole);
  }
};

constexpr std::string_view sSample = R"({"a":1,"b":"x\"y","c":[1,{"d":null}],"e":{"f":true}, "g" : -2.5e3 })";

TEST(JsonTokenizerState, FindsEachString) {
  EXPECT_EQ(Walk(sSample, 1000).strings, (vector<string>{"a", "b", R"(x\"y)", "c", "d", "e", "f", "g"}));
}

TEST(JsonTokenizerState, FindsTheValuesOfScalarMembers) {
  EXPECT_EQ(Walk(sSample, 1000).values, (vector<string>{"1", R"("x\"y")", "null", "true", " -2.5e3 "}));
}

TEST(JsonTokenizerState, TheCutMakesNoDifference) {
  const Walk whole(sSample, 1000);
  for (size_t size = 1; size < sSample.size(); ++size) {
    const Walk cut(sSample, size);
    EXPECT_EQ(cut.strings, whole.strings) << size;
    EXPECT_EQ(cut.values, whole.values) << size;
  }
}

TEST(JsonTokenizerState, AnEmptyStringIsEmptyWhereverItIsCut) {
  for (size_t size = 1; size < 6; ++size) EXPECT_EQ(Walk(R"(["",""])", size).strings, (vector<string>{"", ""})) << size;
}

TEST(JsonTokenizerState, AnEscapedQuoteDoesNotEndAString) {
  EXPECT_EQ(Walk(R"("a\"b")", 100).strings, vector<string>{R"(a\"b)"});
}

TEST(JsonTokenizerState, AQuoteBehindADoubleBackslashEndsTheString) {
  EXPECT_EQ(Walk(R"("a\\","b")", 100).strings, (vector<string>{R"(a\\)", "b"}));
}

TEST(JsonTokenizerState, ThreeBackslashesEscapeTheQuote) {
  EXPECT_EQ(Walk(R"("a\\\"b")", 100).strings, vector<string>{R"(a\\\"b)"});
}

TEST(JsonTokenizerState, BracketsInsideAStringDoNotCount) {
  const Walk walk(R"({"[[{{":"}]")", 100);
  EXPECT_EQ(walk.state.curlyDepth, 1);
  EXPECT_EQ(walk.state.squareDepth, 0);
}

TEST(JsonTokenizerState, DepthsFallBelowZeroOnTextThatIsNoJson) {
  const Walk walk("}}]", 100);
  EXPECT_EQ(walk.state.curlyDepth, -2);
  EXPECT_EQ(walk.state.squareDepth, -1);
}

TEST(JsonTokenizerState, ThePreviousDepthsAreThoseBeforeTheByte) {
  const Walk walk("[{", 100);
  EXPECT_TRUE(walk.state.hasEntered());
  EXPECT_EQ(walk.state.prevSquareDepth, 1);
  EXPECT_EQ(walk.state.prevCurlyDepth, 0);
}

TEST(JsonTokenizerState, PlainBytesEndAtTheClosingQuoteOfAStringOfTheChunk) {
  const string text = R"(1, "pl\"n", 2)";
  JsonTokenizerState state;
  state.beginChunk(text.data());
  const char* const closing = text.data() + text.rfind('"');
  EXPECT_EQ(state.consumePlain(text.data(), text.data() + text.size()), closing);
  EXPECT_TRUE(state.inString);
  EXPECT_EQ(state.stringEnd, closing);
  state.consume(closing);
  EXPECT_TRUE(state.stringDone);
}

TEST(JsonTokenizerState, PlainBytesEndBeforeAStringThatIsCutOff) {
  const string text = R"(1, "tex)";
  JsonTokenizerState state;
  state.beginChunk(text.data());
  EXPECT_EQ(state.consumePlain(text.data(), text.data() + text.size()), text.data() + 3);
  EXPECT_FALSE(state.inString);
}

TEST(JsonTokenizerState, PlainBytesOfAnOpenStringEndAtWhatEndsOrEscapes) {
  const string text = R"(plain\"more")";
  JsonTokenizerState state;
  state.beginChunk("\"");
  state.consume("\"");
  state.endChunk(sWhole);
  state.beginChunk(text.data());
  const char* begin = text.data();
  const char* end = begin + text.size();
  EXPECT_EQ(state.consumePlain(begin, end), begin + 5);
  state.consume(begin + 5);
  EXPECT_EQ(state.consumePlain(begin + 6, end), begin + 6) << "the byte is escaped";
  state.consume(begin + 6);
  EXPECT_EQ(state.consumePlain(begin + 7, end), begin + 11);
}

TEST(JsonTokenizerState, PlainBytesAtOnceAreTheSameAsOneByOne) {
  const string text = R"(["one\\","",{"a":"b c\n\""}, "open)";
  JsonTokenizerState byRuns;
  JsonTokenizerState byBytes;
  byRuns.beginChunk(text.data());
  byBytes.beginChunk(text.data());
  const char* end = text.data() + text.size();
  for (const char* here = text.data(); here != end;) {
    const char* next = byRuns.consumePlain(here, end);
    if (next == here) byRuns.consume(next++);
    for (; here != next; ++here) byBytes.consume(here);
    EXPECT_EQ(byRuns.inString, byBytes.inString);
    EXPECT_EQ(byRuns.stringDone, byBytes.stringDone);
    EXPECT_EQ(byRuns.stringStart, byBytes.stringStart);
    EXPECT_EQ(byRuns.stringEnd, byBytes.stringEnd);
    EXPECT_EQ(byRuns.hasEntered(), byBytes.hasEntered());
  }
}

TEST(JsonTokenizerState, ARunForgetsTheValueAtHand) {
  const string text = R"({"a":17,)";
  JsonTokenizerState state;
  state.beginChunk(text.data());
  for (const char* here = text.data(); here != text.data() + 5; ++here) state.consume(here);
  ASSERT_TRUE(state.inValue);
  state.consumePlain(text.data() + 5, text.data() + text.size());
  EXPECT_FALSE(state.inValue);
}

/// Where the run ends that begins behind the first `prefix` bytes of `text`, inside an object at two curly brackets.
/// Strings of three bytes are wanted.
size_t FindEndOfNested(std::string_view text, size_t prefix) {
  JsonTokenizerState state;
  state.beginChunk(text.data());
  const char* here = text.data();
  while (here != text.data() + prefix) state.consume(here++);
  const auto isWanted = [](size_t size) { return size == 3; };
  return static_cast<size_t>(state.consumeNested(here, text.data() + text.size(), 2, isWanted) - text.data());
}

TEST(JsonTokenizerState, WhatIsNestedEndsWhereItsObjectCloses) {
  const std::string_view text = R"([{"a":{"b":1,"c":[{"d":"}\"]"}],"e":null},"f":{}}])";
  EXPECT_EQ(FindEndOfNested(text, 7), text.find("},\"f"));
}

TEST(JsonTokenizerState, WhatIsNestedEndsAtAWantedStringOfItsObjectAlone) {
  const std::string_view text = R"([{"a":{"deep":{"one":1},"list":["two"],"e":2}}])";
  EXPECT_EQ(FindEndOfNested(text, 7), text.find("\"two"));
}

TEST(JsonTokenizerState, WhatIsNestedEndsAtAStringThatIsCutOff) {
  for (const std::string_view open : {R"([{"a":{"b":"text)", R"([{"a":{"b":"text\)", R"([{"a":{"b":"text\")"}) {
    EXPECT_EQ(FindEndOfNested(open, 7), open.find("\"text")) << open;
  }
}

TEST(JsonTokenizerState, WhatIsNestedEndsWhereTheListAroundItsObjectCloses) {
  EXPECT_EQ(FindEndOfNested(R"([{"a":{"b":[]]}}])", 7), 13U);
}

TEST(JsonTokenizerState, NothingIsNestedOutsideTheObjectOrInsideAString) {
  EXPECT_EQ(FindEndOfNested(R"([{"a":{"b":1}}])", 6), 6U);
  EXPECT_EQ(FindEndOfNested(R"([{"a":{"b":1}}])", 8), 8U);
}

TEST(JsonTokenizerState, WhatIsNestedAtOnceHasTheDepthsOfByteByByte) {
  const std::string_view text = R"([{"a":{"b":[[{"c":{)";
  JsonTokenizerState state;
  state.beginChunk(text.data());
  const char* here = text.data();
  while (here != text.data() + 7) state.consume(here++);
  here = state.consumeNested(here, text.data() + text.size(), 2, [](size_t) { return false; });
  EXPECT_EQ(here, text.data() + text.size());
  EXPECT_EQ(state.curlyDepth, 4);
  EXPECT_EQ(state.squareDepth, 3);
  EXPECT_FALSE(state.inValue);
}

TEST(JsonTokenizerState, AStringOfOneChunkIsNotCopied) {
  const string text = R"("whole")";
  JsonTokenizerState state;
  state.beginChunk(text.data());
  for (const char& byte : text) state.consume(&byte);
  string joined = "untouched";
  EXPECT_EQ(state.viewString(joined).data(), text.data() + 1);
  EXPECT_EQ(joined, "untouched");
}

TEST(JsonTokenizerState, OfALongStringNoMoreIsKeptThanTellsItsSize) {
  JsonTokenizerState state;
  for (const char* const chunk : {"\"abc", "def", "ghi"}) {
    state.beginChunk(chunk);
    for (const char* here = chunk; *here != '\0'; ++here) state.consume(here);
    state.endChunk(4);
  }
  EXPECT_EQ(state.stringCarry, "abcdef");
}

TEST(JsonTokenizerState, KeepsNoPointerIntoAFinishedChunk) {
  const Walk walk(R"({"open":"strin)", 100);
  EXPECT_EQ(walk.state.stringStart, nullptr);
  EXPECT_EQ(walk.state.stringEnd, nullptr);
  EXPECT_EQ(walk.state.valueStart, nullptr);
  EXPECT_EQ(walk.state.valueEnd, nullptr);
  EXPECT_EQ(walk.state.stringCarry, "strin");
  EXPECT_EQ(walk.state.valueCarry, "\"strin");
}

}  // namespace
}  // namespace qx::elasticsearch
