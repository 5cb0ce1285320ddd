#pragma once

namespace qx::test {

/// What a test does for itself beside the library, on whatever thread: its servers, its sinks, its callbacks. While one
/// lives, this thread's allocations are not counted and none is made to fail by an `AllocationFault`.
class FaultExemption {
 public:
  FaultExemption() { ++sDepth; }
  FaultExemption(const FaultExemption&) = delete;
  FaultExemption& operator=(const FaultExemption&) = delete;
  ~FaultExemption() { --sDepth; }

  static bool IsActive() { return sDepth != 0; }

 private:
  static inline constinit thread_local int sDepth = 0;
};

}  // namespace qx::test
