#include "netweft/base/system/qxFlag.h"

#include <gtest/gtest.h>

#include <thread>

namespace qx {
namespace {

TEST(qxFlag, MissingFlagIsNeverRaised) {
  const bool* none = nullptr;
  EXPECT_FALSE(ReadFlag(none));
}

TEST(qxFlag, StoredValueIsRead) {
  bool flag = false;
  EXPECT_FALSE(ReadFlag(&flag));
  StoreFlag(flag, true);
  EXPECT_TRUE(ReadFlag(flag));
  EXPECT_TRUE(ReadFlag(&flag));
}

/// The thread sanitizer judges it.
TEST(qxFlag, OneThreadRaisesItWhileAnotherPolls) {
  bool flag = false;
  std::thread poller([&flag] {
    while (!ReadFlag(flag)) std::this_thread::yield();
  });
  StoreFlag(flag, true);
  poller.join();
  EXPECT_TRUE(ReadFlag(flag));
}

}  // namespace
}  // namespace qx
