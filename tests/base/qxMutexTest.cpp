#include "netweft/base/system/qxMutex.h"

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <vector>

namespace qx {
namespace {

static_assert(std::has_virtual_destructor_v<qxMutex>);

TEST(qxMutex, KeepsThreadsApart) {
  qxMutex mutex;
  int counter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&mutex, &counter] {
      for (int k = 0; k < 5000; ++k) {
        mutex.lock();
        ++counter;
        mutex.unlock();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 20000);
}

TEST(qxMutex, HolderMayTakeItAgain) {
  qxMutex mutex;
  bool stillHeld = true;
  bool entered = false;
  mutex.lock();
  mutex.lock();
  mutex.unlock();
  std::thread other([&] {
    mutex.lock();
    entered = !stillHeld;
    mutex.unlock();
  });
  stillHeld = false;
  mutex.unlock();
  other.join();
  EXPECT_TRUE(entered);
}

}  // namespace
}  // namespace qx
