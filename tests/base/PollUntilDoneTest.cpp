#include "netweft/base/system/internal/PollUntilDone.h"

#include <gtest/gtest.h>

#include <future>

namespace qx::impl {
namespace {

TEST(PollUntilDoneTest, WhatIsDoneIsNotWaitedFor) {
  qxMutex mutex;
  qxWaitCondition condition;
  int asked = 0;
  PollUntilDone(
      mutex, condition, qxWaitCondition::sNoLimit, nullptr, [&] { return ++asked > 0; }, [] { FAIL(); });
  EXPECT_EQ(asked, 1);
}

TEST(PollUntilDoneTest, WithoutAWakeItAsksAgainAfterThePeriod) {
  qxMutex mutex;
  qxWaitCondition condition;
  int asked = 0;
  PollUntilDone(
      mutex, condition, 10, nullptr, [&] { return ++asked == 3; }, [] { FAIL(); });
  EXPECT_EQ(asked, 3);
}

TEST(PollUntilDoneTest, AWakeIsAskedAtOnce) {
  qxMutex mutex;
  qxWaitCondition condition;
  bool done = false;
  auto waiting = std::async(std::launch::async, [&] {
    PollUntilDone(
        mutex, condition, qxWaitCondition::sNoLimit, nullptr, [&] { return done; }, [] {});
  });
  {
    const qxMutexLocker lock(mutex, true);
    done = true;
    condition.wakeAll();
  }
  waiting.get();
}

TEST(PollUntilDoneTest, ARaisedFlagCancelsAndTheWaitGoesOnUntilDone) {
  qxMutex mutex;
  qxWaitCondition condition;
  const bool cancelFlag = true;
  int cancels = 0;
  PollUntilDone(
      mutex, condition, 1, &cancelFlag, [&] { return cancels == 2; }, [&] { ++cancels; });
  EXPECT_EQ(cancels, 3);  // and once more in the last pass
}

}  // namespace
}  // namespace qx::impl
