#include "netweft/river/internal/CdbRev.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>

namespace qx::couch {
namespace {

using test::Error;
using test::LogCapture;

static_assert(offsetof(CdbRev, revHash) == 0 && offsetof(CdbRev, revNumber) == 16 && sizeof(CdbRev) == 24);

const string sHash = "0123456789abcdefFEDCBA9876543210";

bool HasZeroHash(const CdbRev& rev) {
  return std::all_of(std::begin(rev.revHash), std::end(rev.revHash), [](unsigned char byte) { return byte == 0; });
}

/// Parses a text that must leave exactly the error line of a text that is no revision.
CdbRev ParseBad(const string& text) {
  const LogCapture log;
  const CdbRev rev = CdbRev::Parse(text);
  EXPECT_EQ(log.getLines(), vector<test::CapturedLine>{Error("CdbRev fail to parse rev " + text)});
  return rev;
}

CdbRev ParseGood(const string& text) {
  const LogCapture log;
  const CdbRev rev = CdbRev::Parse(text);
  EXPECT_TRUE(log.getLines().empty()) << text;
  return rev;
}

TEST(CdbRev, ReadsNumberAndHash) {
  const CdbRev rev = ParseGood("12-" + sHash);
  const unsigned char expected[] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef,
                                    0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10};
  EXPECT_EQ(rev.revNumber, 12U);
  EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), std::begin(rev.revHash)));
}

TEST(CdbRev, TheEmptyTextIsNoRevisionAndNoError) { EXPECT_EQ(ParseGood(""), CdbRev()); }

TEST(CdbRev, TheDefaultIsAllZero) {
  EXPECT_EQ(CdbRev().revNumber, 0U);
  EXPECT_TRUE(HasZeroHash(CdbRev()));
}

TEST(CdbRev, AHashOfAnotherLengthLeavesTheNumberAtZero) {
  EXPECT_EQ(ParseBad("12-" + sHash.substr(1)), CdbRev());
  EXPECT_EQ(ParseBad("12-" + sHash + "0"), CdbRev());
  EXPECT_EQ(ParseBad("12-"), CdbRev());
}

TEST(CdbRev, ATextWithoutADashIsNoRevision) { EXPECT_EQ(ParseBad("12" + sHash), CdbRev()); }

TEST(CdbRev, TheFirstDashCounts) { EXPECT_EQ(ParseBad("1-2-" + sHash), CdbRev()); }

TEST(CdbRev, ABadHashKeepsTheNumber) {
  const CdbRev rev = ParseBad("12-" + string(32, 'g'));
  EXPECT_EQ(rev.revNumber, 12U);
  EXPECT_TRUE(HasZeroHash(rev));
}

TEST(CdbRev, ABadNumberLeavesTheHashAlone) {
  for (const string number : {"x", "12x", "1 2", "1.5", "4294967296", "99999999999999999999"}) {
    EXPECT_EQ(ParseBad(number + "-" + sHash), CdbRev()) << number;
  }
}

TEST(CdbRev, ANegativeNumberHasItsDashAtTheFront) { EXPECT_EQ(ParseBad("-1-" + sHash), CdbRev()); }

TEST(CdbRev, TheLargestNumberHas32Bits) { EXPECT_EQ(ParseGood("4294967295-" + sHash).revNumber, 4294967295U); }

TEST(CdbRev, TheSpellingGivesTheBase) {
  EXPECT_EQ(ParseGood("010-" + sHash).revNumber, 8U);
  EXPECT_EQ(ParseGood("0x10-" + sHash).revNumber, 16U);
}

TEST(CdbRev, EqualityNeedsTheNumberAndEveryByte) {
  const CdbRev rev = CdbRev::Parse("12-" + sHash);
  EXPECT_EQ(rev, CdbRev::Parse("12-0123456789ABCDEFfedcba9876543210"));
  EXPECT_NE(rev, CdbRev::Parse("13-" + sHash));
  for (size_t i = 0; i < sizeof rev.revHash; ++i) {
    CdbRev other = rev;
    other.revHash[i] ^= 1;
    EXPECT_NE(rev, other) << i;
  }
}

TEST(CdbRev, ALongTextIsCutInTheLog) {
  const LogCapture log;
  CdbRev::Parse(string(100000, 'x'));
  EXPECT_LT(log.getLines().at(0).text.size(), 5000U);
}

}  // namespace
}  // namespace qx::couch
