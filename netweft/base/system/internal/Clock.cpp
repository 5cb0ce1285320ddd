#include "netweft/base/system/internal/Clock.h"

#include <algorithm>
#include <atomic>
#include <chrono>

namespace qx::impl {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

static_assert(std::chrono::steady_clock::is_steady);
static_assert(std::atomic<int64>::is_always_lock_free, "tests raise the offset in a forked child, too");

/// The steady clock counts from the start of the machine. A year on top keeps "longer than any interval of interest"
/// true of the clock's zero on a machine that has just started.
constexpr int64 sYearMs = 365LL * 24 * 60 * 60 * 1000;

constinit std::atomic<int64> sOffsetMs{0};

template <class Clock>
int64 NowMs() {
  return duration_cast<milliseconds>(Clock::now().time_since_epoch()).count() +
         sOffsetMs.load(std::memory_order_relaxed);
}

}  // namespace

int64 ClockMonotonicMs() { return NowMs<std::chrono::steady_clock>() + sYearMs; }

int64 ClockEpochMs() { return NowMs<std::chrono::system_clock>(); }

void AdvanceClock(int64 ms) { sOffsetMs.fetch_add(std::max(ms, int64{0}), std::memory_order_relaxed); }

}  // namespace qx::impl
