#include "netweft/base/system/internal/NumberText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qx::impl {
namespace {

constexpr int64 sMax = std::numeric_limits<int64>::max();
constexpr int64 sMin = std::numeric_limits<int64>::min();

TEST(NumberText, LiteralsBecomeDoublesWhateverTheLocale) {
  EXPECT_EQ(LiteralToDouble("1.5"), 1.5);
  EXPECT_EQ(LiteralToDouble("-12.25e2"), -1225.0);
  EXPECT_TRUE(std::isinf(LiteralToDouble("1e400")));
  EXPECT_EQ(LiteralToDouble("1e-400"), 0.0);
}

TEST(NumberText, LiteralsAreCutTowardZero) {
  EXPECT_EQ(TruncateLiteral("1.999"), 1);
  EXPECT_EQ(TruncateLiteral("-1.999"), -1);
  EXPECT_EQ(TruncateLiteral("0.5"), 0);
  EXPECT_EQ(TruncateLiteral("-0.0"), 0);
}

TEST(NumberText, ExponentsMoveThePoint) {
  EXPECT_EQ(TruncateLiteral("1e3"), 1000);
  EXPECT_EQ(TruncateLiteral("1.25e1"), 12);
  EXPECT_EQ(TruncateLiteral("1.25E+3"), 1250);
  EXPECT_EQ(TruncateLiteral("1250e-2"), 12);
  EXPECT_EQ(TruncateLiteral("-1250e-2"), -12);
  EXPECT_EQ(TruncateLiteral("5e-1"), 0);
  EXPECT_EQ(TruncateLiteral("0.000000000000000000000000000001e30"), 1);
}

TEST(NumberText, EveryDigitCounts) {
  EXPECT_EQ(TruncateLiteral("1234567890123456789.5"), 1234567890123456789);
  EXPECT_EQ(TruncateLiteral("123456789012345678.9e1"), 1234567890123456789);
  EXPECT_EQ(TruncateLiteral("9223372036854775806.9"), sMax - 1);
  EXPECT_EQ(TruncateLiteral("-9223372036854775808.9"), sMin);
}

TEST(NumberText, LiteralsAreClampedToTheRange) {
  EXPECT_EQ(TruncateLiteral("9223372036854775807"), sMax);
  EXPECT_EQ(TruncateLiteral("9223372036854775808"), sMax);
  EXPECT_EQ(TruncateLiteral("-9223372036854775809"), sMin);
  EXPECT_EQ(TruncateLiteral("123456789012345678901234567890"), sMax);
  EXPECT_EQ(TruncateLiteral("1e400"), sMax);
  EXPECT_EQ(TruncateLiteral("-1e400"), sMin);
}

TEST(NumberText, ExponentsBeyondAnyIntegerAreFollowed) {
  EXPECT_EQ(TruncateLiteral("1e99999999999999999999"), sMax);
  EXPECT_EQ(TruncateLiteral("-1E+99999999999999999999"), sMin);
  EXPECT_EQ(TruncateLiteral("1e-99999999999999999999"), 0);
  EXPECT_EQ(TruncateLiteral("0e99999999999999999999"), 0);
}

TEST(NumberText, DigitOtherThanZeroMakesALiteralTrue) {
  EXPECT_TRUE(IsLiteralNonZero("0.001"));
  EXPECT_TRUE(IsLiteralNonZero("1e-400"));
  EXPECT_FALSE(IsLiteralNonZero("0.00e7"));
  EXPECT_FALSE(IsLiteralNonZero("-0"));
}

TEST(NumberText, DoublesAreCutAndClamped) {
  EXPECT_EQ(TruncateDouble(-2.9), -2);
  EXPECT_EQ(TruncateDouble(9223372036854775808.0), sMax);
  EXPECT_EQ(TruncateDouble(-9223372036854775808.0), sMin);
  EXPECT_EQ(TruncateDouble(-std::numeric_limits<double>::infinity()), sMin);
  EXPECT_EQ(TruncateDouble(std::nan("")), 0);
}

TEST(NumberText, DoublesHaveTheShortestTextThatReadsBack) {
  EXPECT_EQ(DoubleToText(0.1), "0.1");
  EXPECT_EQ(DoubleToText(1.0), "1");
  EXPECT_EQ(DoubleToText(-1234567.5), "-1234567.5");
  for (double value : {1.0 / 3.0, 5e-324, std::numeric_limits<double>::max(), -2.2250738585072014e-308}) {
    EXPECT_EQ(LiteralToDouble(DoubleToText(value)), value);
  }
}

}  // namespace
}  // namespace qx::impl
