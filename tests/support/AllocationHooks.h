#pragma once

#include <cstddef>

/// The test program's own operator new and delete, so that tests can count allocations, make one fail, and look at
/// memory at the moment when it is given back. Everything here is per thread; AllocationFault.h is for all threads at
/// once.
namespace qx::test {

/// Allocations of this thread since its start.
size_t CountAllocations();

/// Allocations minus releases of this thread.
long CountLiveAllocations();

/// While it lives, all allocations of this thread fail after the first `allowed` ones.
class AllocationLimit {
 public:
  explicit AllocationLimit(size_t allowed);
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
  ~AllocationLimit();

  /// True when one was refused.
  bool wasHit() const;
};

/// Watches a block of this thread until it is given back.
class ReleaseWatch {
 public:
  ReleaseWatch(const void* block, size_t size);
  ReleaseWatch(const ReleaseWatch&) = delete;
  ReleaseWatch& operator=(const ReleaseWatch&) = delete;
  ~ReleaseWatch();

  bool wasReleased() const;
  /// True when each of its bytes was 0 at that moment.
  bool wasZero() const;
};

}  // namespace qx::test
