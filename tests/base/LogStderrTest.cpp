#include "netweft/base/system/internal/LogStderr.h"

#include "netweft/base/system/internal/Clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>

namespace qx::impl {
namespace {

using testing::EndsWith;

string Format(qxLogType type, const char* channel, const char* module, const string& text) {
  return FormatLine({type, channel, module, 1234567, text});
}

TEST(LogStderr, LineHoldsLevelChannelThreadAndMessage) {
  EXPECT_THAT(Format(LT_Detail, "http", "", "text"), EndsWith(" DETAIL [http] 1234567 text\n"));
  EXPECT_THAT(Format(LT_Warning, "", "", "text"), EndsWith(" WARNING [-] 1234567 text\n"));
  EXPECT_THAT(Format(LT_Error, "", "qxNetweft", "text"), EndsWith(" ERROR [qxNetweft] 1234567 text\n"));
}

TEST(LogStderr, LineStartsWithTheUtcTime) {
  const std::time_t before = static_cast<std::time_t>(ClockEpochMs() / 1000);
  const string line = Format(LT_Error, "", "", "text");
  const std::time_t after = static_cast<std::time_t>(ClockEpochMs() / 1000);
  std::tm parsed{};
  const char* rest = strptime(line.c_str(), "%Y-%m-%d %H:%M:%S", &parsed);
  ASSERT_NE(rest, nullptr);
  EXPECT_EQ(*rest, '.');
  EXPECT_GE(timegm(&parsed), before);
  EXPECT_LE(timegm(&parsed), after);
}

TEST(LogStderr, ControlCharactersAreEscaped) {
  EXPECT_EQ(EscapeForTerminal("a\nb\rc\td"), "a\\nb\\rc\\td");
  EXPECT_EQ(EscapeForTerminal("\x1b[31m"), "\\x1b[31m");
  EXPECT_EQ(EscapeForTerminal(string("\0\x7f", 2)), "\\x00\\x7f");
}

TEST(LogStderr, ControlCharactersOfTheUpperHalfAreEscaped) {
  EXPECT_EQ(EscapeForTerminal("\xC2\x9B"
                              "31m"),
            "\\xc2\\x9b31m");
  EXPECT_EQ(EscapeForTerminal("\xC2\x85"), "\\xc2\\x85");
  EXPECT_EQ(EscapeForTerminal("\xC2\xA0"), "\xC2\xA0");
}

TEST(LogStderr, BytesThatAreNotUtf8AreEscaped) {
  EXPECT_EQ(EscapeForTerminal("\x9b"
                              "31m"),
            "\\x9b31m");
  EXPECT_EQ(EscapeForTerminal("\xC3"), "\\xc3");
  EXPECT_EQ(EscapeForTerminal("\xED\xA0\x80"), "\\xed\\xa0\\x80");
}

TEST(LogStderr, OtherTextStaysAsItIs) {
  EXPECT_EQ(EscapeForTerminal("plain \"text\" \\ \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"),
            "plain \"text\" \\ \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80");
}

TEST(LogStderr, ChannelAndModuleCannotForgeALineEither) {
  EXPECT_THAT(Format(LT_Error, "", "a\nb", "text"), EndsWith(" ERROR [a\\nb] 1234567 text\n"));
}

}  // namespace
}  // namespace qx::impl
