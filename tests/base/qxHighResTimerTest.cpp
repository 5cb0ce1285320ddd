#include "netweft/base/system/qxHighResTimer.h"

#include "netweft/base/system/internal/Clock.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

void PassSomeTime() {
  const auto start = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(2)) {
  }
}

TEST(qxHighResTimer, RunsFromStartToStop) {
  qxHighResTimer timer;
  EXPECT_FALSE(timer.isRunning());
  timer.start();
  EXPECT_TRUE(timer.isRunning());
  timer.stop();
  EXPECT_FALSE(timer.isRunning());
}

TEST(qxHighResTimer, NothingIsElapsedBeforeTheFirstStart) {
  qxHighResTimer timer;
  EXPECT_EQ(timer.getElapsedTimeInSec(), 0.0);
  EXPECT_EQ(timer.getElapsedTimeInMilliSec(), 0.0);
  timer.stop();
  EXPECT_EQ(timer.getElapsedTimeInSec(), 0.0);
}

TEST(qxHighResTimer, TimeGrowsWhileItRuns) {
  qxHighResTimer timer;
  timer.start();
  PassSomeTime();
  const double first = timer.getElapsedTimeInMilliSec();
  EXPECT_GE(first, 2.0);
  PassSomeTime();
  EXPECT_GE(timer.getElapsedTimeInMilliSec(), first + 2.0);
}

TEST(qxHighResTimer, TimeStandsAfterAStop) {
  qxHighResTimer timer;
  timer.start();
  PassSomeTime();
  timer.stop();
  const double stopped = timer.getElapsedTimeInSec();
  EXPECT_GE(stopped, 0.002);
  PassSomeTime();
  EXPECT_EQ(timer.getElapsedTimeInSec(), stopped);
  EXPECT_DOUBLE_EQ(timer.getElapsedTimeInMilliSec(), stopped * 1000.0);
  timer.stop();
  EXPECT_EQ(timer.getElapsedTimeInSec(), stopped);
}

TEST(qxHighResTimer, SecondStartBeginsAnew) {
  qxHighResTimer timer;
  timer.start();
  PassSomeTime();
  timer.stop();
  timer.start();
  EXPECT_TRUE(timer.isRunning());
  timer.stop();
  EXPECT_LT(timer.getElapsedTimeInMilliSec(), 2.0);
}

TEST(qxHighResTimer, StaysRealWhenTheClockIsAdvanced) {
  qxHighResTimer timer;
  timer.start();
  qx::impl::AdvanceClock(3600 * 1000);
  EXPECT_LT(timer.getElapsedTimeInSec(), 3600.0);
}

}  // namespace
