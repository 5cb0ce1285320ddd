#include "netweft/base/json/internal/JsonString.h"

#include "netweft/base/json/internal/JsonOutput.h"
#include "tests/base/JsonSupport.h"

#include <gtest/gtest.h>

#include <random>

namespace qx::json {
namespace {

using namespace std::string_literals;

/// The replacement character's bytes.
const string sReplacement = "\xEF\xBF\xBD";

string Escaped(std::string_view text) {
  string escaped;
  AppendJsonString(text, escaped);
  EXPECT_EQ(JsonStringSize(text), escaped.size());
  string put;
  JsonOutput out(put);
  PutJsonString(text, out);
  out.flush();
  EXPECT_EQ(put, escaped);
  return escaped;
}

std::optional<string> Unescaped(std::string_view inside) {
  string text = "what was there";
  if (!UnescapeJsonString(inside, text)) return {};
  return text;
}

/// By way of a whole text: what the string holds in memory, and what it is written as.
std::optional<string> ReadText(std::string_view inside) {
  const std::optional<qxVariant> value = ReadElement("\"" + string(inside) + "\"");
  return value ? std::optional(value->getString()) : std::nullopt;
}
std::optional<string> RewrittenText(std::string_view inside) {
  const std::optional<string> written = RewrittenElement("\"" + string(inside) + "\"");
  return written ? std::optional(written->substr(1, written->size() - 2)) : std::nullopt;
}

TEST(JsonString, EachShortEscapeIsRead) {
  EXPECT_EQ(Unescaped(R"(\"\\\/\b\f\n\r\t)"), "\"\\/\b\f\n\r\t");
  EXPECT_EQ(Unescaped(R"(a\nb\tc)"), "a\nb\tc");
  EXPECT_EQ(Unescaped(""), "");
  EXPECT_EQ(Unescaped("plain"), "plain");
}

TEST(JsonString, NoOtherLetterMakesAnEscape) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool known = "\"\\/bfnrt"s.find(c) != string::npos;
    EXPECT_EQ(Unescaped("\\"s + c).has_value(), known) << byte;
  }
  EXPECT_FALSE(ReadText(R"(\x41)"));
  EXPECT_FALSE(ReadText(R"(\U0041)"));
  EXPECT_FALSE(ReadText(R"(\')"));
  EXPECT_FALSE(ReadText("\\\n"));
}

TEST(JsonString, EveryCodeUnitInHexadecimalIsRead) {
  EXPECT_EQ(Unescaped(R"(\u0041\u00e9\u20AC)"), "A\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(Unescaped(R"(\u0000)"), "\0"s);
  EXPECT_EQ(Unescaped(R"(\u007f\u0080)"), "\x7F\xC2\x80");
  EXPECT_EQ(Unescaped(R"(\u07ff\u0800)"), "\xDF\xBF\xE0\xA0\x80");
  EXPECT_EQ(Unescaped(R"(\uffff\uFFFE\ufeff)"), "\xEF\xBF\xBF\xEF\xBF\xBE\xEF\xBB\xBF");
  EXPECT_EQ(Unescaped(R"(\uabcd\uABCD\uaBcD)"), "\xEA\xAF\x8D\xEA\xAF\x8D\xEA\xAF\x8D");
}

TEST(JsonString, AHexadecimalEscapeNeedsFourDigits) {
  for (const char* broken : {R"(\u)", R"(\u1)", R"(\u12)", R"(\u123)", R"(\u123g)", R"(\u12 4)", R"(\ug123)",
                             R"(\u-123)", R"(\u+123)", R"(\u{41})", R"(\u00\u0041)", R"(\u000)", R"(\\\u00zz)"}) {
    EXPECT_FALSE(Unescaped(broken)) << broken;
    EXPECT_FALSE(ReadText(broken)) << broken;
  }
}

TEST(JsonString, ASurrogatePairIsOneCharacter) {
  EXPECT_EQ(ReadText(R"(\ud83d\ude00)"), "\xF0\x9F\x98\x80");
  EXPECT_EQ(ReadText(R"(\uD800\uDC00)"), "\xF0\x90\x80\x80");
  EXPECT_EQ(ReadText(R"(\udbff\udfff)"), "\xF4\x8F\xBF\xBF");
  EXPECT_EQ(RewrittenText(R"(x\ud83d\ude00y)"), "x\xF0\x9F\x98\x80y");
}

TEST(JsonString, ALoneSurrogateIsKeptAsThreeBytesAndWrittenAsAnEscape) {
  const pair<string, string> lone[] = {{R"(\ud800)", "\xED\xA0\x80"},
                                       {R"(\udbff)", "\xED\xAF\xBF"},
                                       {R"(\udc00)", "\xED\xB0\x80"},
                                       {R"(\udfff)", "\xED\xBF\xBF"},
                                       {R"(\ud83dx)", "\xED\xA0\xBDx"},
                                       {R"(x\ud83d)", "x\xED\xA0\xBD"},
                                       {R"(\ud83d\n)", "\xED\xA0\xBD\n"},
                                       {R"(\ude00\ud83d)", "\xED\xB8\x80\xED\xA0\xBD"},
                                       {R"(\ud83d\ud83d)", "\xED\xA0\xBD\xED\xA0\xBD"},
                                       {R"(\ud83d \ude00)", "\xED\xA0\xBD \xED\xB8\x80"}};
  for (const auto& [escape, bytes] : lone) {
    EXPECT_EQ(ReadText(escape), bytes) << escape;
    EXPECT_EQ(Escaped(bytes), escape);
  }
  EXPECT_EQ(RewrittenText(R"(\ud83d\u0041)"), R"(\ud83dA)");
}

TEST(JsonString, ALoneSurrogateDoesNotSwallowThePairBehindIt) {
  EXPECT_EQ(ReadText(R"(\ud83d\ud83d\ude00)"), "\xED\xA0\xBD\xF0\x9F\x98\x80");
  EXPECT_EQ(RewrittenText(R"(\ud83d\ud83d\ude00)"), "\\ud83d\xF0\x9F\x98\x80");
}

TEST(JsonString, BothHalvesOfAPairInMemoryAreWrittenAsTheirCharacter) {
  EXPECT_EQ(Escaped("\xED\xA0\xBD\xED\xB8\x80"), "\xF0\x9F\x98\x80");
  EXPECT_EQ(Escaped("\xED\xAF\xBF\xED\xBF\xBF"), "\xF4\x8F\xBF\xBF");
  EXPECT_EQ(Escaped("\xED\xA0\xBD\xED\xA0\xBD\xED\xB8\x80\xED\xB8\x80"), "\\ud83d\xF0\x9F\x98\x80\\ude00");
}

TEST(JsonString, RawTextMustBeUtf8) {
  const string broken[] = {"\x80",
                           "\xBF",
                           "\xC0\x80",
                           "\xC1\xBF",
                           "\xC3",
                           "\xC3x",
                           "\xE2\x82",
                           "\xE2\x82x",
                           "\xE0\x80\x80",
                           "\xE0\x9F\xBF",
                           "\xF0\x9F\x98",
                           "\xF0\x8F\xBF\xBF",
                           "\xF4\x90\x80\x80",
                           "\xF5\x80\x80\x80",
                           "\xF8\x88\x80\x80\x80",
                           "\xFE",
                           "\xFF",
                           "\xED\xA0\x80",
                           "\xED\xBF\xBF",
                           "\xED\xA0\xBD\xED\xB8\x80",
                           "\xC3\xC3\xA9",
                           "\xE9",
                           "\xC3\xA9\xA9",
                           "\xE2\x28\xA1",
                           "\xF0\x28\x8C\xBC"};
  for (const string& bytes : broken) {
    EXPECT_FALSE(ReadText(bytes));
    EXPECT_FALSE(ReadText(string(100, 'x') + bytes + string(100, 'x')));
    EXPECT_FALSE(Rewritten("{\"" + bytes + "\":1}"));
    EXPECT_FALSE(Rewritten("[" + bytes + "]"));
    EXPECT_FALSE(Rewritten("[]" + bytes));
  }
}

TEST(JsonString, RawCharactersOfEveryLengthAreReadAndWrittenAsTheyAre) {
  const string characters[] = {"\x7F",         "\xC2\x80",     "\xDF\xBF",         "\xE0\xA0\x80",     "\xED\x9F\xBF",
                               "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "\xE2\x80\xA8"};
  for (const string& character : characters) {
    EXPECT_EQ(ReadText(character), character);
    EXPECT_EQ(RewrittenText(character), character);
    for (size_t shift = 0; shift < 20; ++shift) {
      const string text = string(shift, 'x') + character + "y";
      EXPECT_EQ(Escaped(text), text);
    }
  }
}

TEST(JsonString, RawControlCharactersAreRefused) {
  for (int byte = 0; byte < 0x20; ++byte) {
    const string c(1, static_cast<char>(byte));
    EXPECT_FALSE(ReadText(c)) << byte;
    EXPECT_FALSE(ReadText("abc" + c + "def")) << byte;
    EXPECT_FALSE(ReadText(string(200, 'x') + c)) << byte;
    EXPECT_FALSE(Rewritten("{\"" + c + "\":1}")) << byte;
  }
}

TEST(JsonString, EveryControlCharacterIsWrittenInItsShortestEscape) {
  const char* const expected[0x20] = {
      R"(\u0000)", R"(\u0001)", R"(\u0002)", R"(\u0003)", R"(\u0004)", R"(\u0005)", R"(\u0006)", R"(\u0007)",
      R"(\b)",     R"(\t)",     R"(\n)",     R"(\u000b)", R"(\f)",     R"(\r)",     R"(\u000e)", R"(\u000f)",
      R"(\u0010)", R"(\u0011)", R"(\u0012)", R"(\u0013)", R"(\u0014)", R"(\u0015)", R"(\u0016)", R"(\u0017)",
      R"(\u0018)", R"(\u0019)", R"(\u001a)", R"(\u001b)", R"(\u001c)", R"(\u001d)", R"(\u001e)", R"(\u001f)"};
  for (int byte = 0; byte < 0x20; ++byte) {
    const string c(1, static_cast<char>(byte));
    EXPECT_EQ(Escaped(c), expected[byte]);
    EXPECT_EQ(RewrittenText(expected[byte]), expected[byte]);
    EXPECT_EQ(ReadText(expected[byte]), c);
  }
}

TEST(JsonString, OnlyQuoteAndBackslashAreEscapedAmongPrintableAscii) {
  EXPECT_EQ(Escaped("\""), "\\\"");
  EXPECT_EQ(Escaped("\\"), "\\\\");
  for (char c = 0x20; c < 0x7F; ++c) {
    if (c != '"' && c != '\\') {
      EXPECT_EQ(Escaped(string(1, c)), string(1, c));
    }
  }
  EXPECT_EQ(Escaped("\x7F"), "\x7F");
  EXPECT_EQ(Escaped("</script>"), "</script>");
}

TEST(JsonString, EveryByteIsEscapedAtEveryPlaceOfALongText) {
  for (int byte = 0; byte < 0x80; ++byte) {
    const string c(1, static_cast<char>(byte));
    const string escaped = Escaped(c);
    for (size_t before = 0; before < 18; ++before) {
      for (size_t after = 0; after < 18; ++after) {
        ASSERT_EQ(Escaped(string(before, 'x') + c + string(after, '!')),
                  string(before, 'x') + escaped + string(after, '!'))
            << byte;
      }
    }
  }
}

/// Texts are looked at in several bytes at a time, in other ways for other lengths.
TEST(JsonString, AQuoteIsEscapedAtEveryPlaceOfATextOfEveryLength) {
  for (size_t size = 1; size <= 80; ++size) {
    EXPECT_EQ(Escaped(string(size, 'x')), string(size, 'x'));
    for (size_t place = 0; place < size; ++place) {
      string text(size, 'x');
      text[place] = '"';
      EXPECT_EQ(Escaped(text), string(place, 'x') + "\\\"" + string(size - place - 1, 'x'));
    }
  }
}

TEST(JsonString, SuperfluousEscapesShrinkToTheCharacter) {
  EXPECT_EQ(RewrittenText(R"(\u0041\/\u002f\u007f)"), "A//\x7F");
  EXPECT_EQ(RewrittenText(R"(\u000a\u0022\u005C\u0008\u000C\u000D\u0009)"), R"(\n\"\\\b\f\r\t)");
  EXPECT_EQ(RewrittenText(R"(\u001F\uD83D\uDE00\uD800)"), "\\u001f\xF0\x9F\x98\x80\\ud800");
}

TEST(JsonString, BytesThatAreNotUtf8BecomeReplacementCharacters) {
  EXPECT_EQ(Escaped("a\xFF"
                    "b"),
            "a" + sReplacement + "b");
  EXPECT_EQ(Escaped("\xC3"), sReplacement);
  EXPECT_EQ(Escaped("\xC3x"), sReplacement + "x");
  EXPECT_EQ(Escaped("\xE2\x82"), sReplacement + sReplacement);
  EXPECT_EQ(Escaped("\xC0\x80"), sReplacement + sReplacement);
  EXPECT_EQ(Escaped("\xED\xA0"), sReplacement + sReplacement);
  EXPECT_EQ(Escaped("\xED\xA0\x22"), sReplacement + sReplacement + "\\\"");
  EXPECT_EQ(Escaped("\xED\xA0\xBD\xED\xB8"), "\\ud83d" + sReplacement + sReplacement);
  EXPECT_EQ(Escaped("\xF4\x90\x80\x80"), Repeated(sReplacement, 4));
}

TEST(JsonString, ABigStringIsReadAndWrittenWhole) {
  const string text = Repeated("0123456789abcde\xC3\xA9", 1 << 16);
  EXPECT_EQ(ReadText(text), text);
  EXPECT_EQ(RewrittenText(text), text);
  EXPECT_EQ(RewrittenText(Repeated("\\n\\u00e9", 1 << 16)), Repeated("\\n\xC3\xA9", 1 << 16));
}

TEST(JsonString, AnyBytesAreWrittenAsAStringThatIsReadAndWrittenTheSameWay) {
  std::mt19937 random(99);
  const string alphabet = "ab\"\\\n\x01\x7F\x80\xA0\xB8\xBD\xC3\xA9\xE2\x82\xED\xED\xED\xF0\x9F\x98\xFF\0"s;
  for (int round = 0; round < 4000; ++round) {
    string bytes;
    for (size_t i = random() % 24; i > 0; --i) bytes += alphabet[random() % alphabet.size()];
    const string escaped = Escaped(bytes);
    ASSERT_EQ(RewrittenText(escaped), escaped);
  }
}

}  // namespace
}  // namespace qx::json
