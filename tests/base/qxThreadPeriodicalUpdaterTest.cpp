#include "netweft/base/system/qxThreadPeriodicalUpdater.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace qx {
namespace {

using std::chrono::steady_clock;

/// Notes when it was called, and on a thread of which name.
struct Recorder {
  std::mutex mutex;
  std::condition_variable called;
  vector<steady_clock::time_point> times;
  string threadName;

  static void Record(void* arg) {
    auto& self = *static_cast<Recorder*>(arg);
    char name[16];
    pthread_getname_np(pthread_self(), name, sizeof(name));
    const std::lock_guard lock(self.mutex);
    self.times.push_back(steady_clock::now());
    self.threadName = name;
    self.called.notify_all();
  }

  void await(size_t count) {
    std::unique_lock lock(mutex);
    called.wait(lock, [this, count] { return times.size() >= count; });
  }
};

TEST(qxThreadPeriodicalUpdater, CallsOverAndOverAtItsPeriod) {
  Recorder recorder;
  qxThreadPeriodicalUpdater updater(1);
  updater.addCallback(Recorder::Record, &recorder);
  recorder.await(2);
  updater.removeCallback(Recorder::Record, &recorder);
  EXPECT_GE(recorder.times[1] - recorder.times[0], std::chrono::milliseconds(900));
  EXPECT_EQ(recorder.threadName, "netweft-updater");
}

TEST(qxThreadPeriodicalUpdater, PeriodOfZeroCountsAsOne) {
  Recorder recorder;
  const auto start = steady_clock::now();
  qxThreadPeriodicalUpdater updater(0);
  updater.addCallback(Recorder::Record, &recorder);
  recorder.await(1);
  EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(900));
}

TEST(qxThreadPeriodicalUpdater, DestructorDoesNotWaitForThePeriod) {
  const auto start = steady_clock::now();
  { const unique_ptr<qxThread> updater = std::make_unique<qxThreadPeriodicalUpdater>(3600U); }
  EXPECT_LT(steady_clock::now() - start, std::chrono::minutes(1));
}

}  // namespace
}  // namespace qx
