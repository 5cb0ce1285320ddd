#include "netweft/base/json/internal/JsonTokens.h"

#include <gtest/gtest.h>

namespace qx::json {
namespace {

vector<string> TokensOf(std::string_view text) {
  JsonTokens tokens;
  vector<string> all;
  if (!tokens.scan(text)) return {"refused"};
  while (!tokens.atEnd()) all.emplace_back(tokens.takeWhole());
  return all;
}

using Tokens = vector<string>;

TEST(JsonTokens, AreOperatorsStringsAndRunsOfOtherCharacters) {
  EXPECT_EQ(TokensOf(R"({"a": [1,true]})"), (Tokens{"{", "\"a\"", ":", "[", "1", ",", "true", "]", "}"}));
}

TEST(JsonTokens, ComeWithoutTheWhiteSpaceBehindThem) {
  EXPECT_EQ(TokensOf(" [ \t1 \r\n, \"a \" ] "), (Tokens{"[", "1", ",", "\"a \"", "]"}));
}

TEST(JsonTokens, KeepOtherControlCharactersSoThatTheReaderSeesThem) {
  // Some of the scanner's processor-specific forms make a token of its own of the form feed, others do not.
  for (const char c : {'\0', '\f', '\v', '\x1A', '\x1F'}) {
    const string text = string("1") + c;
    string all;
    for (const string& token : TokensOf(text)) all += token;
    EXPECT_EQ(all, text);
  }
}

TEST(JsonTokens, WithoutAnyTheScanFails) {
  EXPECT_EQ(TokensOf(""), (Tokens{"refused"}));
  EXPECT_EQ(TokensOf(" \n "), (Tokens{"refused"}));
}

TEST(JsonTokens, TheScanFindsWhatIsNotUtf8InAString) { EXPECT_EQ(TokensOf("[\"\xFF\"]"), (Tokens{"refused"})); }

TEST(JsonTokens, TheScanFindsOpenStringsAndRawControlCharacters) {
  EXPECT_EQ(TokensOf("[\"a]"), (Tokens{"refused"}));
  EXPECT_EQ(TokensOf("[\"a\n\"]"), (Tokens{"refused"}));
}

TEST(JsonTokens, AtTheEndThereIsNothingHoweverOftenOneAsks) {
  JsonTokens tokens;
  ASSERT_TRUE(tokens.scan("[]"));
  EXPECT_EQ(tokens.takeFirst(), '[');
  EXPECT_EQ(tokens.peek(), ']');
  EXPECT_EQ(tokens.takeFirst(), ']');
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(tokens.atEnd());
    EXPECT_EQ(tokens.peek(), '\0');
    EXPECT_EQ(tokens.takeFirst(), '\0');
    EXPECT_TRUE(tokens.takeWhole().empty());
  }
}

TEST(JsonTokens, AreFreshWithEachScan) {
  JsonTokens tokens;
  ASSERT_TRUE(tokens.scan(R"(["a long first text","that leaves much behind"])"));
  ASSERT_TRUE(tokens.scan("1"));
  EXPECT_EQ(tokens.takeWhole(), "1");
  EXPECT_TRUE(tokens.atEnd());
  EXPECT_FALSE(tokens.scan("\""));
  EXPECT_TRUE(tokens.atEnd());
  ASSERT_TRUE(tokens.scan("2"));
  EXPECT_EQ(tokens.takeWhole(), "2");
}

TEST(JsonTokens, MemoryGrowsWithTheTextAndIsKept) {
  JsonTokens tokens;
  EXPECT_EQ(tokens.capacity(), 0U);
  ASSERT_TRUE(tokens.scan("1"));
  const uint64 smallest = tokens.capacity();
  ASSERT_TRUE(tokens.scan(string(100'000, '1')));
  EXPECT_GE(tokens.capacity(), 100'000U);
  EXPECT_LE(tokens.capacity(), 200'000U);
  ASSERT_TRUE(tokens.scan("1"));
  EXPECT_GT(tokens.capacity(), smallest);
}

TEST(JsonTokens, ATextLongerThanFourGibibytesIsRefusedBeforeItIsLookedAt) {
  JsonTokens tokens;
  const char one = '1';
  EXPECT_FALSE(tokens.scan({&one, (size_t{1} << 32) + 1}));
}

}  // namespace
}  // namespace qx::json
