#pragma once

#include "netweft/base/system/NetweftExport.h"

#include <chrono>

/// A high resolution stopwatch on real time. One thread at a time.
class NETWEFT_EXPORT qxHighResTimer {
 public:
  /// Starts anew, also while running.
  void start();
  /// Keeps the time as it stands.
  void stop();
  /// False before the first `start` and after `stop`.
  bool isRunning() const noexcept { return mRunning; }

  /// The time between `start` and `stop`, or since `start` while running; 0 before the first `start`.
  double getElapsedTimeInSec() const;
  double getElapsedTimeInMilliSec() const;

 private:
  std::chrono::steady_clock::time_point mStart{};
  std::chrono::steady_clock::time_point mStop{};
  bool mRunning = false;
};
