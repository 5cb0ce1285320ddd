#include "netweft/base/system/qxThread.h"

#include "tests/base/VirtualSlot.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <functional>
#include <future>
#include <stdexcept>

namespace qx {
namespace {

class TestThread final : public qxThread {
 public:
  explicit TestThread(std::function<void()> body) : mBody(std::move(body)) {}

  static std::ptrdiff_t getRunSlot() { return test::VirtualSlot(&TestThread::run); }

 private:
  void run() override { mBody(); }

  std::function<void()> mBody;
};

string CurrentName() {
  char name[16];
  pthread_getname_np(pthread_self(), name, sizeof(name));
  return name;
}

bool IsBlocked(int number) {
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, number) == 1;
}

TEST(qxThread, RunIsTheSecondVirtualOperationAfterTheDestructor) { EXPECT_EQ(TestThread::getRunSlot(), 2); }

TEST(qxThread, RunsItsBodyOnAnotherThread) {
  std::thread::id id;
  TestThread thread([&id] { id = std::this_thread::get_id(); });
  thread.startThread(nullptr);
  EXPECT_TRUE(thread.waitThread(qxThread::sNoLimit));
  EXPECT_NE(id, std::this_thread::get_id());
  EXPECT_NE(id, std::thread::id());
}

TEST(qxThread, WaitingWithoutLimitIsTheLargestInt) { EXPECT_EQ(qxThread::sNoLimit, 2147483647); }

TEST(qxThread, ThreadNeverStartedIsNotWaitedFor) {
  TestThread thread([] {});
  EXPECT_TRUE(thread.waitThread(qxThread::sNoLimit));
}

TEST(qxThread, WaitGivesFalseAtTheLimit) {
  std::promise<void> gate;
  TestThread thread([&gate] { gate.get_future().wait(); });
  thread.startThread(nullptr);
  EXPECT_FALSE(thread.waitThread(1));
  EXPECT_FALSE(thread.waitThread(-1));
  gate.set_value();
  EXPECT_TRUE(thread.waitThread(qxThread::sNoLimit));
  EXPECT_TRUE(thread.waitThread(0));
}

TEST(qxThread, SecondStartWhileItRunsDoesNothing) {
  std::promise<void> gate;
  std::atomic<int> runs{0};
  TestThread thread([&] {
    ++runs;
    gate.get_future().wait();
  });
  thread.startThread(nullptr);
  thread.startThread(nullptr);
  gate.set_value();
  thread.waitThread(qxThread::sNoLimit);
  EXPECT_EQ(runs, 1);
}

TEST(qxThread, CanBeStartedAgainAfterItsEnd) {
  std::atomic<int> runs{0};
  TestThread thread([&runs] { ++runs; });
  thread.startThread(nullptr);
  thread.waitThread(qxThread::sNoLimit);
  thread.startThread(nullptr);
  thread.waitThread(qxThread::sNoLimit);
  EXPECT_EQ(runs, 2);
}

TEST(qxThread, SeveralThreadsMayWaitForOne) {
  std::promise<void> gate;
  TestThread thread([&gate] { gate.get_future().wait(); });
  thread.startThread(nullptr);
  auto first = std::async(std::launch::async, [&thread] { return thread.waitThread(qxThread::sNoLimit); });
  auto second = std::async(std::launch::async, [&thread] { return thread.waitThread(qxThread::sNoLimit); });
  gate.set_value();
  EXPECT_TRUE(first.get());
  EXPECT_TRUE(second.get());
}

TEST(qxThread, NameIsThatOfTheStart) {
  string name;
  TestThread thread([&name] { name = CurrentName(); });
  thread.startThread("worker");
  thread.waitThread(qxThread::sNoLimit);
  EXPECT_EQ(name, "worker");
}

TEST(qxThread, LongNameIsCut) {
  string name;
  TestThread thread([&name] {
    qxThread::SetCurrentThreadName("a name of more than 15 characters");
    name = CurrentName();
  });
  thread.startThread(nullptr);
  thread.waitThread(qxThread::sNoLimit);
  EXPECT_EQ(name, "a name of more ");
}

TEST(qxThread, BlocksAllSignalsButThoseOfCrashHandlersAndProfilers) {
  const std::vector<int> open = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS, SIGPROF};
  std::vector<int> blocked;
  TestThread thread([&blocked] {
    for (int number = 1; number < 32; ++number) {
      if (IsBlocked(number)) blocked.push_back(number);
    }
  });
  thread.startThread(nullptr);
  thread.waitThread(qxThread::sNoLimit);
  for (int number = 1; number < 32; ++number) {
    if (number == SIGKILL || number == SIGSTOP) continue;
    const bool isOpen = std::find(open.begin(), open.end(), number) != open.end();
    const bool isBlocked = std::find(blocked.begin(), blocked.end(), number) != blocked.end();
    EXPECT_NE(isOpen, isBlocked) << "signal " << number;
  }
}

TEST(qxThread, StarterKeepsItsOwnSignals) {
  TestThread thread([] {});
  thread.startThread(nullptr);
  EXPECT_FALSE(IsBlocked(SIGTERM));
  EXPECT_FALSE(IsBlocked(SIGUSR1));
  thread.waitThread(qxThread::sNoLimit);
}

TEST(qxThread, ExceptionEndsTheThreadWithAnErrorLine) {
  const test::LogCapture log;
  TestThread thread([] { throw std::runtime_error("broken"); });
  thread.startThread(nullptr);
  EXPECT_TRUE(thread.waitThread(qxThread::sNoLimit));
  EXPECT_EQ(log.count(test::Error("A thread ended with an exception: broken")), 1U);
}

TEST(qxThread, ExceptionOfAnyOtherKindEndsTheThreadWithAnErrorLine) {
  const test::LogCapture log;
  TestThread thread([] { throw 5; });
  thread.startThread(nullptr);
  EXPECT_TRUE(thread.waitThread(qxThread::sNoLimit));
  EXPECT_EQ(log.count(test::Error("A thread ended with an unknown exception")), 1U);
}

TEST(qxThread, SleepLastsAtLeastItsTime) {
  const auto start = std::chrono::steady_clock::now();
  qxThread::msleep(5);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5));
}

}  // namespace
}  // namespace qx
