#pragma once

#include "netweft/base/system/qxTypes.h"

#include <ctime>

namespace qx::test {

/// What the process has used so far, all threads together: for tests that nothing spins.
inline int64 ProcessCpuMs() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return int64{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

}  // namespace qx::test
