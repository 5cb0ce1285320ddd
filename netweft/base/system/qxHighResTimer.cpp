#include "netweft/base/system/qxHighResTimer.h"

void qxHighResTimer::start() {
  mRunning = true;
  mStart = std::chrono::steady_clock::now();
}

void qxHighResTimer::stop() {
  if (!mRunning) return;
  mStop = std::chrono::steady_clock::now();
  mRunning = false;
}

double qxHighResTimer::getElapsedTimeInSec() const {
  const auto end = mRunning ? std::chrono::steady_clock::now() : mStop;
  return std::chrono::duration<double>(end - mStart).count();
}

double qxHighResTimer::getElapsedTimeInMilliSec() const { return getElapsedTimeInSec() * 1000.0; }
