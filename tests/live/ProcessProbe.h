#pragma once

#include "netweft/base/system/qxTypes.h"

#include <sys/types.h>

namespace qx::test {

/// What a process holds and has used, as the kernel tells it. All numbers are 0 when there is no such process.
struct ProcessProbe {
  explicit ProcessProbe(pid_t pid);

  uint64 descriptors = 0;
  uint64 threads = 0;
  uint64 residentKb = 0;
  /// Processor time of all threads, in milliseconds, to 10 ms.
  uint64 cpuMs = 0;
};

}  // namespace qx::test
