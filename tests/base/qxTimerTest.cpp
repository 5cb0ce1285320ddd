#include "netweft/base/system/qxTimer.h"

#include "netweft/base/system/internal/Clock.h"

#include <gtest/gtest.h>

namespace qx {
namespace {

TEST(qxTimer, MarkIsTakenAtOnceOnlyWhenTold) {
  EXPECT_TRUE(qxTimer(true).isTimeSnapped());
  EXPECT_FALSE(qxTimer(false).isTimeSnapped());
}

TEST(qxTimer, MarkIsSetAndCleared) {
  qxTimer timer(false);
  timer.snapTime();
  EXPECT_TRUE(timer.isTimeSnapped());
  timer.clearTime();
  EXPECT_FALSE(timer.isTimeSnapped());
}

TEST(qxTimer, ElapsedTimeStartsAtZero) {
  // The clock may tick between the two calls, but not each time.
  qxTimer timer(true);
  int tries = 0;
  while (timer.getElapsedMs() != 0 && tries < 1000) {
    timer.snapTime();
    ++tries;
  }
  EXPECT_LT(tries, 1000);
}

TEST(qxTimer, ElapsedTimeIsInMillisecondsSinceTheMark) {
  qxTimer timer(true);
  impl::AdvanceClock(1500);
  EXPECT_GE(timer.getElapsedMs(), 1500);
  EXPECT_LT(timer.getElapsedMs(), 60000);
}

TEST(qxTimer, SecondsAreElapsedOnceTheyHavePassed) {
  const qxTimer timer(true);
  EXPECT_TRUE(timer.isElapsedSec(0));
  EXPECT_FALSE(timer.isElapsedSec(3600));
  impl::AdvanceClock(3600 * 1000);
  EXPECT_TRUE(timer.isElapsedSec(3600));
  EXPECT_FALSE(timer.isElapsedSec(7200));
}

TEST(qxTimer, TimerNeverMarkedCountsAsElapsed) {
  qxTimer timer(false);
  EXPECT_TRUE(timer.isElapsedSec(1LL << 60));
  timer.snapTime();
  timer.clearTime();
  EXPECT_TRUE(timer.isElapsedSec(1LL << 60));
}

TEST(qxTimer, WithoutAMarkTheElapsedTimeIsLongerThanAnyInterval) {
  qxTimer timer(true);
  timer.clearTime();
  EXPECT_GE(timer.getElapsedMs(), 365LL * 24 * 3600 * 1000);
}

}  // namespace
}  // namespace qx
