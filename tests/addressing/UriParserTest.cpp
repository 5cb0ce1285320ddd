#include "netweft/addressing/internal/UriParser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::impl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const string kNul(1, '\0');

StringPairList GetQuery(const string& text) {
  ParsedUri uri;
  string error;
  EXPECT_TRUE(uri.parse(text, error)) << error;
  StringPairList pairs;
  EXPECT_TRUE(uri.getQuery(pairs, error)) << error;
  return pairs;
}

TEST(UriParserTest, EscapingGoesOnBehindANul) {
  EXPECT_EQ(EscapeUriText("a b" + kNul + "c/d"), "a%20b%00c%2Fd");
  EXPECT_EQ(EscapeUriText(kNul), "%00");
  EXPECT_EQ(EscapeUriText(kNul + kNul + "x"), "%00%00x");
}

TEST(UriParserTest, UnescapingKeepsTheNulThatAnEscapeStoodFor) {
  EXPECT_EQ(UnescapeUriText("a%00b", false), "a" + kNul + "b");
  EXPECT_EQ(UnescapeUriText("%00", false), kNul);
  EXPECT_EQ(UnescapeUriText("%41%00%00%42", false), "A" + kNul + kNul + "B");
}

TEST(UriParserTest, UnescapingGoesOnBehindANul) {
  EXPECT_EQ(UnescapeUriText("%41" + kNul + "%42", false), "A" + kNul + "B");
  EXPECT_EQ(UnescapeUriText(kNul, false), kNul);
}

TEST(UriParserTest, AnEscapeDoesNotReachAcrossANul) {
  EXPECT_EQ(UnescapeUriText("%4" + kNul + "1", false), "%4" + kNul + "1");
}

TEST(UriParserTest, EveryByteSurvivesEscapingAndUnescaping) {
  string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(UnescapeUriText(EscapeUriText(all), false), all);
  EXPECT_EQ(UnescapeUriText(EscapeUriText(all), true), all);
}

TEST(UriParserTest, OnlyUnreservedBytesAreLeftAlone) {
  const string unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  for (int byte = 0; byte < 256; ++byte) {
    const string text(1, static_cast<char>(byte));
    const bool stays = byte != 0 && unreserved.find(text) != string::npos;
    EXPECT_EQ(EscapeUriText(text) == text, stays) << byte;
  }
}

/// Calls `check` with each text of two bytes that uriparser, which ends at a NUL, can take.
template <class Check>
void ForEachPairOfBytes(Check check) {
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) check({static_cast<char>(first), static_cast<char>(second)});
  }
}

/// The texts that need no work do not get as far as uriparser.
TEST(UriParserTest, EscapesAsUriparserDoes) {
  ForEachPairOfBytes([](const string& text) {
    char escaped[7];
    uriEscapeExA(text.data(), text.data() + text.size(), escaped, URI_FALSE, URI_FALSE);
    ASSERT_EQ(EscapeUriText(text), escaped);
    string out = "before ";
    AppendEscapedUriText(text, out);
    ASSERT_EQ(out, string("before ") + escaped);
  });
}

TEST(UriParserTest, UnescapesAsUriparserDoes) {
  ForEachPairOfBytes([](const string& text) {
    for (const string& whole : {text, "%4" + text, "+%2" + text + "%"}) {
      for (const bool plusToSpace : {false, true}) {
        string unescaped = whole;
        const char* end =
            uriUnescapeInPlaceExA(unescaped.data(), plusToSpace ? URI_TRUE : URI_FALSE, URI_BR_DONT_TOUCH);
        unescaped.resize(static_cast<size_t>(end - unescaped.data()));
        ASSERT_EQ(UnescapeUriText(whole, plusToSpace), unescaped);
      }
    }
  });
}

TEST(UriParserTest, BlanksAndLineBreaksAreEscapedAsTheyAre) { EXPECT_EQ(EscapeUriText(" \r\n\t"), "%20%0D%0A%09"); }

TEST(UriParserTest, APlusBecomesABlankOnlyWhereAsked) {
  EXPECT_EQ(UnescapeUriText("a+b", false), "a+b");
  EXPECT_EQ(UnescapeUriText("a+b", true), "a b");
}

TEST(UriParserTest, WhatIsNoEscapeStays) {
  EXPECT_EQ(UnescapeUriText("100%", false), "100%");
  EXPECT_EQ(UnescapeUriText("%zz%4", false), "%zz%4");
}

TEST(UriParserTest, ALineBreakInAnEscapeIsNotConverted) { EXPECT_EQ(UnescapeUriText("%0D%0A%0A", false), "\r\n\n"); }

TEST(UriParserTest, ATextWithANulInsideIsASyntaxErrorAtThatByte) {
  ParsedUri uri;
  string error;
  EXPECT_FALSE(uri.parse("http://h/a" + kNul + "b", error));
  EXPECT_EQ(error, "fail to parse uri UriParser syntax error @10");
}

TEST(UriParserTest, AQueryKeepsTheNulThatAnEscapeStoodFor) {
  EXPECT_THAT(GetQuery("http://h?a%00b=c%00d&e=f"),
              ElementsAre(Pair("a" + kNul + "b", "c" + kNul + "d"), Pair("e", "f")));
}

TEST(UriParserTest, AQueryIsDecodedOnce) {
  EXPECT_THAT(GetQuery("http://h?a%2541=%252B%25"), ElementsAre(Pair("a%41", "%2B%")));
}

TEST(UriParserTest, SeparatorsThatAreEscapedDoNotSeparate) {
  EXPECT_THAT(GetQuery("http://h?a%26b%3Dc=d%26e"), ElementsAre(Pair("a&b=c", "d&e")));
}

TEST(UriParserTest, APlusInAQueryIsABlank) {
  EXPECT_THAT(GetQuery("http://h?a+b=c+d%2B"), ElementsAre(Pair("a b", "c d+")));
}

TEST(UriParserTest, AQueryIsCutAtTheFirstEqualsSign) {
  EXPECT_THAT(GetQuery("http://h?a=b=c"), ElementsAre(Pair("a", "b=c")));
}

TEST(UriParserTest, AnEmptyQueryHasNoPairs) {
  EXPECT_THAT(GetQuery("http://h?"), IsEmpty());
  EXPECT_THAT(GetQuery("http://h"), IsEmpty());
}

TEST(UriParserTest, AbsentPiecesAreEmpty) {
  ParsedUri uri;
  string error;
  ASSERT_TRUE(uri.parse("", error));
  EXPECT_EQ(uri.getScheme(), "");
  EXPECT_EQ(uri.getUserInfo(), "");
  EXPECT_EQ(uri.getHost(), "");
  EXPECT_EQ(uri.getPort(), "");
  EXPECT_THAT(uri.getPathSegments(), IsEmpty());
}

TEST(UriParserTest, PiecesAreThoseOfTheText) {
  ParsedUri uri;
  string error;
  const string text = "HTTP://us%20er:pw@[2001:DB8::1]:0100/a%2Fb//?q#f";
  ASSERT_TRUE(uri.parse(text, error)) << error;
  EXPECT_EQ(uri.getScheme(), "HTTP");
  EXPECT_EQ(uri.getUserInfo(), "us%20er:pw");
  EXPECT_EQ(uri.getHost(), "2001:DB8::1");
  EXPECT_EQ(uri.getPort(), "0100");
  EXPECT_THAT(uri.getPathSegments(), ElementsAre("a/b", "", ""));
}

TEST(UriParserTest, NormalizingTouchesSchemeAndHostAlone) {
  ParsedUri uri;
  string error;
  const string text = "HTTP://USER:PW@HOST.Example/%41/../B?C";
  ASSERT_TRUE(uri.parse(text, error)) << error;
  ASSERT_TRUE(uri.normalize(error)) << error;
  EXPECT_EQ(uri.getScheme(), "http");
  EXPECT_EQ(uri.getUserInfo(), "USER:PW");
  EXPECT_EQ(uri.getHost(), "host.example");
  EXPECT_THAT(uri.getPathSegments(), ElementsAre("A", "..", "B"));
}

TEST(UriParserTest, AVeryLongTextDoesNotExhaustTheStack) {
  const string text = "http://h/" + string(4 << 20, 'a') + "?" + string(4 << 20, 'b');
  string slashes = "http://h";
  for (int i = 0; i < 200000; ++i) slashes += "/x%20";
  for (const string& longText : {text, slashes}) {
    ParsedUri uri;
    string error;
    EXPECT_TRUE(uri.parse(longText, error)) << error;
  }
}

}  // namespace
}  // namespace qx::impl
