#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace {

constexpr int sBarWidth = 30;
constexpr auto sPlainPeriod = std::chrono::seconds(2);

std::string Bar(qx::uint64 done, qx::uint64 total) {
  const qx::uint64 filled = total == 0 ? sBarWidth : std::min<qx::uint64>(sBarWidth, done * sBarWidth / total);
  std::string bar(sBarWidth, '.');
  std::fill_n(bar.begin(), static_cast<std::ptrdiff_t>(filled), '#');
  return bar;
}

}  // namespace

double Progress::changesPerSecond(qx::uint64 done, Clock::time_point now) {
  const double seconds = std::chrono::duration<double>(now - mStart).count();
  return seconds <= 0 || done <= mFirstDone ? 0.0 : static_cast<double>(done - mFirstDone) / seconds;
}

void Progress::show(qx::uint64 done, qx::uint64 total) {
  const Clock::time_point now = Clock::now();
  if (!mStarted) {
    mStarted = true;
    mFirstDone = done;
    mStart = now;
  }
  char line[160];
  std::snprintf(line, sizeof line, "[%s] %llu of %llu changes, %.0f per second, lag %llu", Bar(done, total).c_str(),
                done, total, changesPerSecond(done, now), total > done ? total - done : 0);
  const bool terminal = isatty(STDOUT_FILENO) == 1;
  const bool moved = done != mLastDone || total != mLastTotal;
  if (!terminal && (!moved || (now - mLastShown < sPlainPeriod && done < total))) return;
  mLastDone = done;
  mLastTotal = total;
  mLastShown = now;
  std::printf(terminal ? "\r%s\033[K" : "%s\n", line);
  std::fflush(stdout);
}

void Progress::finish() {
  if (mStarted && isatty(STDOUT_FILENO) == 1) std::printf("\n");
}
