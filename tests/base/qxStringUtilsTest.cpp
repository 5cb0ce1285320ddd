#include "netweft/base/system/qxStringUtils.h"

#include "tests/support/AllocationHooks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <sstream>

namespace qx {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Made while the program is loaded, before the library's own static objects.
const double sParsedAtLoad = strtod_l("1.5", nullptr, qxStringUtils::msCLocale);
const string sWrittenAtLoad = [] {
  std::ostringstream stream;
  stream.imbue(qxStringUtils::msCplusLocale);
  stream << 1234567 << ' ' << 0.5;
  return stream.str();
}();

bool IsZero(const void* start, size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(start);
  return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

string Trim(string text) { return qxStringUtils::trim(text); }

string Hex(const string& text) {
  string out = "old";
  qxStringUtils::ToHex(text.data(), text.size(), out);
  return out;
}

/// The 16 bytes as hexadecimal text, or "refused".
string Uuid(const string& text) {
  unsigned char binary[16] = {};
  if (!qxStringUtils::UUIDToBinary(text, binary)) return IsZero(binary, sizeof(binary)) ? "refused" : "touched";
  return Hex(string(reinterpret_cast<const char*>(binary), sizeof(binary)));
}

/// The number as text, or "refused".
string Parse(const string& text, int base) {
  int64 value = 77;
  if (qxStringUtils::ParseInt64(text, base, value)) return qxStringUtils::fromInt64(value, 1);
  return value == 77 ? "refused" : "touched";
}

TEST(qxStringUtils, LocalesServeStaticObjectsWhileTheyAreMade) {
  EXPECT_EQ(sParsedAtLoad, 1.5);
  EXPECT_EQ(sWrittenAtLoad, "1234567 0.5");
}

TEST(qxStringUtils, LocalesAreTheCLocale) {
  const qxCLocaleHandle handle = qxStringUtils::msCLocale;
  EXPECT_EQ(strtod_l("2.25", nullptr, handle), 2.25);
  EXPECT_EQ(qxStringUtils::msCplusLocale.name(), "C");
}

TEST(qxStringUtils, TrimStripsWhiteSpaceAtBothEnds) {
  EXPECT_EQ(Trim(" \t\n\v\f\ra b \t\n\v\f\r"), "a b");
  EXPECT_EQ(Trim("ab"), "ab");
  EXPECT_EQ(Trim(" \t "), "");
  EXPECT_EQ(Trim(""), "");
  EXPECT_EQ(Trim("\xC2\xA0"
                 "a"),
            "\xC2\xA0"
            "a");
}

TEST(qxStringUtils, SixBytesAreWhiteSpaceAndNoOther) {
  const string whiteSpace = " \t\n\v\f\r";
  for (int byte = 0; byte < 256; ++byte) {
    const string text(1, static_cast<char>(byte));
    EXPECT_EQ(Trim(text), whiteSpace.find(text) == string::npos ? text : "") << byte;
  }
}

TEST(qxStringUtils, TrimGivesItsArgument) {
  string text = " a ";
  EXPECT_EQ(&qxStringUtils::trim(text), &text);
}

TEST(qxStringUtils, LetterCaseChangesInAsciiAlone) {
  string text = "aZ\xC3\x89-9";
  qxStringUtils::toLower(text);
  EXPECT_EQ(text, "az\xC3\x89-9");
  qxStringUtils::toUpper(text);
  EXPECT_EQ(text, "AZ\xC3\x89-9");
}

TEST(qxStringUtils, StartsWithComparesBytes) {
  EXPECT_TRUE(qxStringUtils::StartsWith("abc", "ab"));
  EXPECT_TRUE(qxStringUtils::StartsWith("abc", ""));
  EXPECT_FALSE(qxStringUtils::StartsWith("abc", "AB"));
  EXPECT_FALSE(qxStringUtils::StartsWith("ab", "abc"));
}

TEST(qxStringUtils, ContainsMindsLetterCaseWhenTold) {
  EXPECT_TRUE(qxStringUtils::Contains("one Two", "Two", true));
  EXPECT_FALSE(qxStringUtils::Contains("one Two", "two", true));
  EXPECT_TRUE(qxStringUtils::Contains("one Two", "E tW", false));
  EXPECT_FALSE(qxStringUtils::Contains("one Two", "twoo", false));
  for (bool caseSensitive : {true, false}) {
    EXPECT_TRUE(qxStringUtils::Contains("one", "", caseSensitive));
    EXPECT_TRUE(qxStringUtils::Contains("", "", caseSensitive));
    EXPECT_FALSE(qxStringUtils::Contains("", "a", caseSensitive));
  }
}

TEST(qxStringUtils, SplitKeepsEmptyPiecesWhenTold) {
  EXPECT_THAT(qxStringUtils::Split("a,,b,", ',', true), ElementsAre("a", "", "b", ""));
  EXPECT_THAT(qxStringUtils::Split("", ',', true), ElementsAre(""));
  EXPECT_THAT(qxStringUtils::Split(",", ',', true), ElementsAre("", ""));
}

TEST(qxStringUtils, SplitDropsEmptyPiecesOtherwise) {
  EXPECT_THAT(qxStringUtils::Split(",a,,b,", ',', false), ElementsAre("a", "b"));
  EXPECT_THAT(qxStringUtils::Split("", ',', false), IsEmpty());
  EXPECT_THAT(qxStringUtils::Split(",,", ',', false), IsEmpty());
}

TEST(qxStringUtils, SplitIntoAVectorAppends) {
  vector<string> out = {"old"};
  qxStringUtils::Split("a;;b", ';', out, true);
  EXPECT_THAT(out, ElementsAre("old", "a", "", "b"));
  qxStringUtils::Split(";c", ';', out, false);
  EXPECT_THAT(out, ElementsAre("old", "a", "", "b", "c"));
}

TEST(qxStringUtils, NumbersBecomeDecimalText) {
  EXPECT_EQ(qxStringUtils::fromInt(-1234567, 1), "-1234567");
  EXPECT_EQ(qxStringUtils::fromInt(0, 1), "0");
  EXPECT_EQ(qxStringUtils::fromInt(std::numeric_limits<int>::min(), 1), "-2147483648");
  EXPECT_EQ(qxStringUtils::fromInt64(std::numeric_limits<int64>::min(), 1), "-9223372036854775808");
  EXPECT_EQ(qxStringUtils::fromInt64(std::numeric_limits<int64>::max(), 1), "9223372036854775807");
  EXPECT_EQ(qxStringUtils::fromUInt(4294967295U, 1), "4294967295");
  EXPECT_EQ(qxStringUtils::fromUInt64(std::numeric_limits<uint64>::max(), 1), "18446744073709551615");
}

TEST(qxStringUtils, ShorterNumbersAreFilledWithZeros) {
  EXPECT_EQ(qxStringUtils::fromInt(5, 3), "005");
  EXPECT_EQ(qxStringUtils::fromInt(-5, 3), "-005");
  EXPECT_EQ(qxStringUtils::fromInt(1234, 3), "1234");
  EXPECT_EQ(qxStringUtils::fromInt(5, 0), "5");
  EXPECT_EQ(qxStringUtils::fromInt(5, -2), "5");
  EXPECT_EQ(qxStringUtils::fromUInt64(7, 30), string(29, '0') + "7");
}

TEST(qxStringUtils, WholeTextsAreParsedAsNumbers) {
  EXPECT_EQ(Parse("42", 10), "42");
  EXPECT_EQ(Parse("-42", 10), "-42");
  EXPECT_EQ(Parse("+42", 10), "42");
  EXPECT_EQ(Parse(" 42", 10), "42");
  EXPECT_EQ(Parse("9223372036854775807", 10), "9223372036854775807");
  EXPECT_EQ(Parse("-9223372036854775808", 10), "-9223372036854775808");
}

TEST(qxStringUtils, BaseOfZeroComesFromTheText) {
  EXPECT_EQ(Parse("010", 0), "8");
  EXPECT_EQ(Parse("0x1F", 0), "31");
  EXPECT_EQ(Parse("10", 0), "10");
  EXPECT_EQ(Parse("ff", 16), "255");
}

TEST(qxStringUtils, WhatIsNoWholeNumberIsRefusedAndLeavesTheResultAlone) {
  for (const char* text : {"", " ", "x", "42x", "42 ", "4.2", "08", "9223372036854775808", "-9223372036854775809"}) {
    EXPECT_EQ(Parse(text, 0), "refused") << text;
  }
  EXPECT_EQ(Parse(string("42\0", 3), 10), "refused");
  EXPECT_EQ(Parse("1", 99), "refused");
}

TEST(qxStringUtils, ParsingLeavesTheErrorNumberOfTheSystemAlone) {
  errno = ENOENT;
  Parse("9223372036854775808", 10);
  EXPECT_EQ(errno, ENOENT);
}

TEST(qxStringUtils, HexIsLowerCaseWithTwoDigitsAByte) {
  EXPECT_EQ(Hex(string("\x00\x0f\xf0\xAB", 4)), "000ff0ab");
  EXPECT_EQ(Hex(""), "");
}

TEST(qxStringUtils, HexOfATextMayReplaceThatText) {
  string text = "AB";
  qxStringUtils::ToHex(text.data(), text.size(), text);
  EXPECT_EQ(text, "4142");
}

TEST(qxStringUtils, UuidIsParsedBareAndWithDashes) {
  EXPECT_EQ(Uuid("00112233-4455-6677-8899-aabbCCDDEEFF"), "00112233445566778899aabbccddeeff");
  EXPECT_EQ(Uuid("00112233445566778899aabbccddeeff"), "00112233445566778899aabbccddeeff");
}

TEST(qxStringUtils, WhatIsNoUuidIsRefusedAndLeavesTheResultAlone) {
  for (const char* text :
       {"", "00112233445566778899aabbccddeef", "00112233445566778899aabbccddeeff0", "g0112233445566778899aabbccddeeff",
        "0011223-34455-6677-8899-aabbccddeeff", "00112233-4455-6677-8899-aabbccddeefg",
        "{0112233-4455-6677-8899-aabbccddeef}", "00112233-4455-6677-8899aabb-ccddeeff",
        "00112233-4455-6677-8899-aabbccddee-f", "0011223304455-6677-8899-aabbccddeeff",
        "00112233-4455-6677-88990aabbccddeeff", "001122334455667788990011223344556677"}) {
    EXPECT_EQ(Uuid(text), "refused") << text;
  }
}

TEST(qxStringUtils, SecureClearEmptiesTheText) {
  string secret = "hush";
  qxStringUtils::SecureClear(secret);
  EXPECT_EQ(secret, "");
  qxStringUtils::SecureClear(secret);
  EXPECT_EQ(secret, "");
}

TEST(qxStringUtils, SecureClearOverwritesAShortSecretInThePlaceWhereItStood) {
  string secret = "123456789012345";
  ASSERT_EQ(secret.capacity(), 15U);
  const char* place = secret.data();
  qxStringUtils::SecureClear(secret);
  EXPECT_TRUE(IsZero(place, 15));
}

TEST(qxStringUtils, SecureClearOverwritesTheWholeBufferOfALongSecret) {
  string secret(1000, 's');
  secret.reserve(2000);
  secret.resize(3);
  const test::ReleaseWatch watch(secret.data(), secret.capacity() + 1);
  qxStringUtils::SecureClear(secret);
  secret.shrink_to_fit();
  EXPECT_TRUE(watch.wasReleased());
  EXPECT_TRUE(watch.wasZero());
}

TEST(qxStringUtils, SecureClearOverwritesWhatAShortSecretLeftInTheObjectWhenItGrew) {
  string secret = "abcdefghijklmno";
  secret.reserve(100);
  qxStringUtils::SecureClear(secret);
  const string object(reinterpret_cast<const char*>(&secret), sizeof(secret));
  EXPECT_EQ(object.find("klmno"), string::npos);
}

}  // namespace
}  // namespace qx
