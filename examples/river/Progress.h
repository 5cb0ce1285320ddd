#pragma once

#include "netweft/netweft.h"

#include <chrono>

/// A line on the terminal that shows how far all indexes together have got.
class Progress {
 public:
  /// `done` and `total` count changes. Overwrites the line when stdout is a terminal, else adds one every few seconds.
  void show(qx::uint64 done, qx::uint64 total);
  /// Ends the line.
  void finish();

 private:
  using Clock = std::chrono::steady_clock;

  double changesPerSecond(qx::uint64 done, Clock::time_point now);

  bool mStarted = false;
  qx::uint64 mFirstDone = 0;
  Clock::time_point mStart;
  Clock::time_point mLastShown;
  qx::uint64 mLastDone = 0;
  qx::uint64 mLastTotal = 0;
};
