#include "netweft/base/system/FormatDuration.h"

#include <gtest/gtest.h>

#include <limits>

namespace qx {
namespace {

constexpr int64 sSecond = 1000;
constexpr int64 sMinute = 60 * sSecond;
constexpr int64 sHour = 60 * sMinute;
constexpr int64 sDay = 24 * sHour;

TEST(FormatDuration, NothingIsZeroMilliseconds) {
  for (int mode : {-1, 0, 1, 2, 3}) {
    EXPECT_EQ(FormatDuration(0, mode, false), "0ms");
    EXPECT_EQ(FormatDuration(0, mode, true), "0ms");
  }
}

TEST(FormatDuration, LittleOverOneSecondKeepsItsMilliseconds) {
  EXPECT_EQ(FormatDuration(1005, 1, false), "1s 5ms");
  EXPECT_EQ(FormatDuration(59 * sSecond + 999, 1, false), "59s 999ms");
}

TEST(FormatDuration, LittleOverOneMinuteShowsMinutesAndSecondsOnly) {
  EXPECT_EQ(FormatDuration(sMinute + 5 * sSecond + 7, 1, false), "1m 5s");
}

TEST(FormatDuration, ModeOneShowsDownToMinutesFromAnHourUp) {
  EXPECT_EQ(FormatDuration(sHour + 2 * sMinute + 3 * sSecond + 4, 1, false), "1h 2m");
  EXPECT_EQ(FormatDuration(2 * sDay + sHour + 2 * sMinute + 3 * sSecond, 1, false), "2d 1h 2m");
}

TEST(FormatDuration, ZeroComponentsAtTheLowEndAreLeftOut) {
  EXPECT_EQ(FormatDuration(sSecond, 1, false), "1s");
  EXPECT_EQ(FormatDuration(sMinute, 1, false), "1m");
  EXPECT_EQ(FormatDuration(sHour + 3 * sSecond, 1, false), "1h");
  EXPECT_EQ(FormatDuration(3 * sDay, 0, false), "3d");
}

TEST(FormatDuration, ZeroComponentsInTheMiddleStay) {
  EXPECT_EQ(FormatDuration(sDay + 5 * sMinute, 1, false), "1d 0h 5m");
  EXPECT_EQ(FormatDuration(sDay + 1, 0, false), "1d 0h 0m 0s 1ms");
}

TEST(FormatDuration, ModeTwoShowsMinutesAndAboveAlone) {
  EXPECT_EQ(FormatDuration(sMinute + 30 * sSecond + 1, 2, false), "1m");
  EXPECT_EQ(FormatDuration(sDay + 2 * sHour + 3 * sMinute + 4 * sSecond, 2, false), "1d 2h 3m");
}

TEST(FormatDuration, ModeTwoBelowAMinuteHasNothingToPrint) {
  EXPECT_EQ(FormatDuration(30 * sSecond, 2, false), "0ms");
  EXPECT_EQ(FormatDuration(30 * sSecond, 2, true), "0ms");
  EXPECT_EQ(FormatDuration(999, 2, false), "0ms");
}

TEST(FormatDuration, AnyOtherModeShowsEverything) {
  for (int mode : {-1, 0, 3, 100}) {
    EXPECT_EQ(FormatDuration(sDay + 2 * sHour + 3 * sMinute + 4 * sSecond + 5, mode, false), "1d 2h 3m 4s 5ms");
  }
}

TEST(FormatDuration, TheTotalFollowsWhenMoreThanMillisecondsAreLeft) {
  EXPECT_EQ(FormatDuration(1005, 1, true), "1s 5ms (1005ms)");
  EXPECT_EQ(FormatDuration(sHour + 4, 1, true), "1h (3600004ms)");
  EXPECT_EQ(FormatDuration(999, 1, true), "999ms");
}

TEST(FormatDuration, NegativeValuesKeepTheirSignInEveryComponent) {
  EXPECT_EQ(FormatDuration(-5, 1, false), "-5ms");
  EXPECT_EQ(FormatDuration(-1005, 1, true), "-1s -5ms (-1005ms)");
}

TEST(FormatDuration, ExtremeValuesAreRendered) {
  EXPECT_EQ(FormatDuration(std::numeric_limits<int64>::max(), 0, false), "106751991167d 7h 12m 55s 807ms");
  EXPECT_EQ(FormatDuration(std::numeric_limits<int64>::min(), 0, true),
            "-106751991167d -7h -12m -55s -808ms (-9223372036854775808ms)");
}

TEST(FormatDuration, HigherComponentsAreNotGrouped) { EXPECT_EQ(FormatDuration(100000 * sDay, 1, false), "100000d"); }

}  // namespace
}  // namespace qx
