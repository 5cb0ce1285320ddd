#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::test {

/// While it lives, the system gives no thread: to everyone, or to all but the first `granted` who ask. One at a time.
class ThreadFault {
 public:
  explicit ThreadFault(uint64 granted);
  ThreadFault(const ThreadFault&) = delete;
  ThreadFault& operator=(const ThreadFault&) = delete;
  ~ThreadFault();
};

}  // namespace qx::test
