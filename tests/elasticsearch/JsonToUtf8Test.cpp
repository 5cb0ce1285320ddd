#include "netweft/elasticsearch/internal/JsonToUtf8.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string_view>

namespace qx::elasticsearch {
namespace {

using namespace std::string_view_literals;

/// Converts into a buffer of the input's size; the text, or the reason behind a "!".
string Convert(std::string_view text) {
  vector<char> out(text.size() + 1);
  string error = "left over";
  char* end = json_to_utf8(text.data(), text.data() + text.size(), out.data(), out.data() + text.size(), &error);
  if (end == nullptr) return "!" + error;
  EXPECT_EQ(error, "");
  return string(out.data(), end);
}

TEST(JsonToUtf8, CopiesWhatIsNoEscape) {
  const std::string_view text = "plain \xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80 \x01";
  EXPECT_EQ(Convert(text), text);
}

TEST(JsonToUtf8, UndoesEachShortEscape) { EXPECT_EQ(Convert(R"(\"\/\\\b\f\n\r\t)"), "\"/\\\b\f\n\r\t"); }

TEST(JsonToUtf8, WritesAnEscapedCodePointInOneTwoOrThreeBytes) {
  EXPECT_EQ(Convert(R"(\u0041\u007f\u00e9\u07ff\u20AC\uffff)"), "A\x7f\xc3\xa9\xdf\xbf\xe2\x82\xac\xef\xbf\xbf");
}

TEST(JsonToUtf8, TakesDigitsOfEitherCase) { EXPECT_EQ(Convert(R"(\uABcd)"), Convert(R"(\uabCD)")); }

TEST(JsonToUtf8, WritesAnEscapedNulAsAByte) { EXPECT_EQ(Convert(R"(a\u0000b)"), string("a\0b", 3)); }

TEST(JsonToUtf8, CopiesARawNul) { EXPECT_EQ(Convert("a\0b"sv), string("a\0b", 3)); }

TEST(JsonToUtf8, ReadsOnlyFourDigits) { EXPECT_EQ(Convert(R"(\u00410)"), "A0"); }

TEST(JsonToUtf8, RefusesBrokenEscapes) {
  for (const std::string_view text :
       {R"(\)"sv, R"(a\x)"sv, R"(\B)"sv, R"(\ )"sv, R"(\')"sv, R"(\u)"sv, R"(\u1)"sv, R"(\u12)"sv, R"(\u123)"sv,
        R"(\u123g)"sv, R"(\u 123)"sv, R"(\u-123)"sv, R"(\U0041)"sv, "\\u00e\xc3\xa9"sv, "\\\xc3\xa9"sv, "\\\0"sv}) {
    EXPECT_EQ(Convert(text), "!Invalid escape sequence") << text;
  }
}

TEST(JsonToUtf8, RefusesEscapedSurrogates) {
  for (const std::string_view text : {R"(\ud800)"sv, R"(\udbff)"sv, R"(\udc00)"sv, R"(\uDFFF)"sv}) {
    EXPECT_EQ(Convert(text), "!Invalid code point") << text;
  }
}

TEST(JsonToUtf8, DoesNotPutASurrogatePairTogether) { EXPECT_EQ(Convert(R"(\ud83d\ude00)"), "!Invalid code point"); }

TEST(JsonToUtf8, RefusesInputThatEndsInsideASequence) {
  for (const std::string_view text : {"\xc3"sv, "a\xe2\x82"sv, "\xf0\x9f\x98"sv}) {
    EXPECT_EQ(Convert(text), "!Not enough space") << text;
  }
}

TEST(JsonToUtf8, RefusesBytesThatAreNotUtf8) {
  for (const std::string_view text : {"\x80"sv, "\xff"sv, "\xc3(a"sv, "\xc0\xaf"sv, "\xe0\x80\xaf"sv}) {
    EXPECT_EQ(Convert(text), "!Invalid UTF-8") << text;
  }
}

TEST(JsonToUtf8, RefusesRawValuesThatAreNoCodePoint) {
  for (const std::string_view text : {"\xed\xa0\x80"sv, "\xed\xbf\xbf"sv, "\xf4\x90\x80\x80"sv}) {
    EXPECT_EQ(Convert(text), "!Invalid code point") << text;
  }
}

TEST(JsonToUtf8, AnEmptyInputGivesTheBeginOfTheOutput) {
  char out = 'x';
  const char* empty = "";
  EXPECT_EQ(json_to_utf8(empty, empty, &out, &out + 1, nullptr), &out);
  EXPECT_EQ(out, 'x');
}

TEST(JsonToUtf8, ConvertsInPlace) {
  string text = R"(a\u00e9\n\"z)";
  string error;
  char* end = json_to_utf8(text.data(), text.data() + text.size(), text.data(), text.data() + text.size(), &error);
  ASSERT_NE(end, nullptr) << error;
  EXPECT_EQ(string(text.data(), end), "a\xc3\xa9\n\"z");
}

TEST(JsonToUtf8, RefusesRangesThatOverlapInPart) {
  string text = "abcdef";
  char* data = text.data();
  string error;
  EXPECT_EQ(json_to_utf8(data, data + 4, data + 1, data + 6, &error), nullptr);
  EXPECT_EQ(error, "Invalid pointers");
  error.clear();
  EXPECT_EQ(json_to_utf8(data, data + 4, data, data + 5, &error), nullptr);
  EXPECT_EQ(error, "Invalid pointers");
  EXPECT_EQ(text, "abcdef");
}

TEST(JsonToUtf8, RangesThatTouchDoNotOverlap) {
  string text = "abcd....";
  char* data = text.data();
  EXPECT_EQ(json_to_utf8(data, data + 4, data + 4, data + 8, nullptr), data + 8);
  EXPECT_EQ(text, "abcdabcd");
}

TEST(JsonToUtf8, TheOverlapIsFoundBeforeTheSizeIsLookedAt) {
  string text = "abcdef";
  char* data = text.data();
  string error;
  EXPECT_EQ(json_to_utf8(data, data + 4, data + 1, data + 2, &error), nullptr);
  EXPECT_EQ(error, "Invalid pointers");
}

TEST(JsonToUtf8, RefusesAnOutputSmallerThanTheInput) {
  const string text = R"(\n\n)";
  vector<char> out(text.size() - 1);
  string error;
  EXPECT_EQ(json_to_utf8(text.data(), text.data() + text.size(), out.data(), out.data() + out.size(), &error), nullptr);
  EXPECT_EQ(error, "Output buffer is too small");
}

TEST(JsonToUtf8, FailsWithoutAnErrorText) {
  const string text = R"(\x)";
  vector<char> out(text.size());
  const char* end = text.data() + text.size();
  EXPECT_EQ(json_to_utf8(text.data(), end, out.data(), out.data() + out.size(), nullptr), nullptr);
}

TEST(JsonToUtf8, NeverWritesMoreThanItReads) {
  for (unsigned value = 0; value <= 0xffff; ++value) {
    char text[7];
    std::snprintf(text, sizeof text, "\\u%04x", value);
    char out[6];
    char* end = json_to_utf8(text, text + 6, out, out + 6, nullptr);
    const bool surrogate = value >= 0xd800 && value <= 0xdfff;
    ASSERT_EQ(end == nullptr, surrogate) << value;
    if (end != nullptr) {
      ASSERT_LE(end - out, 3) << value;
    }
  }
}

}  // namespace
}  // namespace qx::elasticsearch
