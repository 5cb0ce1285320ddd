#include "netweft/base/system/internal/Clock.h"

#include "netweft/base/system/qxSystemUtils.h"

#include <gtest/gtest.h>

#include <chrono>

namespace qx::impl {
namespace {

TEST(Clock, AdvanceRaisesEveryReading) {
  const int64 monotonic = ClockMonotonicMs();
  const int64 epoch = ClockEpochMs();
  const int64 seconds = qxSystemUtils::GetTimeBaseSec();
  const int64 milliseconds = qxSystemUtils::GetTimeBaseMs();
  const int64 unixTime = qxSystemUtils::GetSecElapsedSinceEpoch();
  AdvanceClock(60000);
  EXPECT_GE(ClockMonotonicMs(), monotonic + 60000);
  EXPECT_GE(ClockEpochMs(), epoch + 60000);
  EXPECT_GE(qxSystemUtils::GetTimeBaseSec(), seconds + 60);
  EXPECT_GE(qxSystemUtils::GetTimeBaseMs(), milliseconds + 60000);
  EXPECT_GE(qxSystemUtils::GetSecElapsedSinceEpoch(), unixTime + 60);
}

TEST(Clock, NegativeAdvanceChangesNothing) {
  const int64 before = ClockMonotonicMs();
  AdvanceClock(-1000000);
  EXPECT_GE(ClockMonotonicMs(), before);
}

TEST(Clock, NeverStandsStill) {
  const int64 start = ClockMonotonicMs();
  while (ClockMonotonicMs() == start) {
  }
  EXPECT_GT(ClockMonotonicMs(), start);
}

TEST(Clock, ItsZeroIsLongAgoEvenOnAMachineThatHasJustStarted) {
  const auto sinceBoot = std::chrono::steady_clock::now().time_since_epoch();
  const int64 sinceBootMs = std::chrono::duration_cast<std::chrono::milliseconds>(sinceBoot).count();
  EXPECT_GE(ClockMonotonicMs() - sinceBootMs, 365LL * 24 * 3600 * 1000);
}

}  // namespace
}  // namespace qx::impl
