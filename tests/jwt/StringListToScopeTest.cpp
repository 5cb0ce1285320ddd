#include "netweft/jwt/StringListToScope.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

namespace qx::jwt {
namespace {

using qx::test::Detail;
using qx::test::LogCapture;

TEST(StringListToScopeTest, TagsAreTrimmedEscapedAndJoinedByOneBlank) {
  EXPECT_EQ(StringListToScope({" a ", "", "b c"}), "a b%20c");
}

TEST(StringListToScopeTest, NoTagGivesTheEmptyText) {
  EXPECT_EQ(StringListToScope({}), "");
  EXPECT_EQ(StringListToScope({"", "  ", "\t\n"}), "");
}

TEST(StringListToScopeTest, EveryVisibleCharacterButTwoIsCopied) {
  for (char c = 0x21; c < 0x7F; ++c) {
    if (c == '"' || c == '\\') continue;
    EXPECT_EQ(StringListToScope({string(1, c)}), string(1, c));
  }
}

TEST(StringListToScopeTest, APercentSignIsCopiedAsItIs) { EXPECT_EQ(StringListToScope({"a%20b", "%"}), "a%20b %"); }

TEST(StringListToScopeTest, QuotesBackslashesAndControlsAreEscaped) {
  EXPECT_EQ(StringListToScope({"a\"b\\c"}), "a%22b%5Cc");
  EXPECT_EQ(StringListToScope({"a\x01\x7F"
                               "b"}),
            "a%01%7Fb");
  EXPECT_EQ(StringListToScope({string("a\0b", 3)}), "a%00b");
}

TEST(StringListToScopeTest, WhatLiesBeyondAsciiIsEscapedByteByByte) {
  EXPECT_EQ(StringListToScope({"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}), "%C3%A9 %E2%82%AC %F0%9F%98%80");
}

TEST(StringListToScopeTest, ABadTagCostsOnlyItself) {
  const LogCapture log;
  EXPECT_EQ(StringListToScope({"a", "b\xFF", "c"}), "a c");
  ASSERT_EQ(log.getLines().size(), 1U);
  EXPECT_EQ(log.getLines()[0], Detail("", "Fail to convert tag 'b\xFF' to scope Invalid UTF-8"));
}

TEST(StringListToScopeTest, EachKindOfBadTextIsToldApart) {
  const LogCapture log;
  EXPECT_EQ(StringListToScope({" x\xE2\x82 ", "\xED\xA0\x80", "\xC3("}), "");
  const auto lines = log.getLines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], Detail("", "Fail to convert tag 'x\xE2\x82' to scope Not enough space"));
  EXPECT_EQ(lines[1], Detail("", "Fail to convert tag '\xED\xA0\x80' to scope Invalid code point"));
  EXPECT_EQ(lines[2], Detail("", "Fail to convert tag '\xC3(' to scope Invalid UTF-8"));
}

TEST(StringListToScopeTest, ABadTagInFrontLeavesNoBlank) {
  EXPECT_EQ(StringListToScope({"\xFF", "a", "\xFF", "b"}), "a b");
}

}  // namespace
}  // namespace qx::jwt
