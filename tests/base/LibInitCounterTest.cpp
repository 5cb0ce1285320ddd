#include "netweft/base/system/LibInitCounter.h"

#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace qx::impl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(LibInitCounter, OnlyTheFirstIncrementTellsTrue) {
  LibInitCounter counter("test", false);
  EXPECT_TRUE(counter.incrementInitCounter());
  EXPECT_FALSE(counter.incrementInitCounter());
}

TEST(LibInitCounter, OnlyTheDecrementBackToZeroTellsTrue) {
  LibInitCounter counter("test", false);
  counter.incrementInitCounter();
  counter.incrementInitCounter();
  EXPECT_FALSE(counter.decrementInitCounter());
  EXPECT_TRUE(counter.isInitialized());
  EXPECT_TRUE(counter.decrementInitCounter());
  EXPECT_FALSE(counter.isInitialized());
}

TEST(LibInitCounter, DecrementAtZeroStaysThere) {
  LibInitCounter counter("test", false);
  EXPECT_FALSE(counter.decrementInitCounter());
  EXPECT_FALSE(counter.isInitialized());
  EXPECT_TRUE(counter.incrementInitCounter());
}

TEST(LibInitCounter, CounterLeftAboveZeroWarnsWhenTold) {
  const test::LogCapture log;
  {
    LibInitCounter counter("test", true);
    counter.incrementInitCounter();
    counter.incrementInitCounter();
  }
  EXPECT_THAT(log.getLines(),
              ElementsAre(test::Warning("The library test was initialised and not terminated; count 2")));
}

TEST(LibInitCounter, CounterAtZeroOrNotToldWritesNothing) {
  const test::LogCapture log;
  {
    LibInitCounter quiet("test", false);
    quiet.incrementInitCounter();
    LibInitCounter done("test", true);
    done.incrementInitCounter();
    done.decrementInitCounter();
  }
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST(LibInitCounter, OneOfManyThreadsIsTheFirstAndOneTheLast) {
  LibInitCounter counter("test", false);
  std::atomic<int> firsts{0};
  std::atomic<int> lasts{0};
  vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back([&] { firsts += counter.incrementInitCounter() ? 1 : 0; });
  for (std::thread& thread : threads) thread.join();
  threads.clear();
  for (int i = 0; i < 4; ++i) threads.emplace_back([&] { lasts += counter.decrementInitCounter() ? 1 : 0; });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(firsts, 1);
  EXPECT_EQ(lasts, 1);
}

}  // namespace
}  // namespace qx::impl
