#include "netweft/base/system/qxTimer.h"

#include "netweft/base/system/internal/Clock.h"

namespace qx {

qxTimer::qxTimer(bool snapNow) {
  if (snapNow) snapTime();
}

void qxTimer::snapTime() {
  mMarkMs = impl::ClockMonotonicMs();
  mSnapped = true;
}

int64 qxTimer::getElapsedMs() const { return impl::ClockMonotonicMs() - (mSnapped ? mMarkMs : 0); }

bool qxTimer::isElapsedSec(int64 s) const { return !mSnapped || getElapsedMs() / 1000 >= s; }

}  // namespace qx
