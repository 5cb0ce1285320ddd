#include "tests/support/AllocationHooks.h"

#include "tests/support/AllocationFault.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

#if defined(__has_feature)
#  if __has_feature(thread_sanitizer)
#    define NETWEFT_UNDER_THREAD_SANITIZER 1
#  endif
#endif
#if !defined(NETWEFT_UNDER_THREAD_SANITIZER)
#  define NETWEFT_UNDER_THREAD_SANITIZER 0
#endif

namespace {

using namespace qx::test;

constexpr size_t sUnlimited = std::numeric_limits<size_t>::max();

struct ThreadState {
  size_t allocations = 0;
  long live = 0;
  size_t allowed = sUnlimited;
  bool refused = false;
  const void* watched = nullptr;
  size_t watchedSize = 0;
  bool released = false;
  bool zero = false;
};

thread_local constinit ThreadState sState;

bool IsZero(const void* block, size_t size) {
  const auto* bytes = static_cast<const volatile unsigned char*>(block);
  return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

[[maybe_unused]] void* AllocateOrNull(size_t size) noexcept {
  if (sState.allowed == 0) {
    sState.refused = true;
    return nullptr;
  }
  if (TakeAllocationFault()) return nullptr;
  if (sState.allowed != sUnlimited) --sState.allowed;
  void* block = std::malloc(std::max<size_t>(size, 1));
  if (block == nullptr) return nullptr;
  ++sState.allocations;
  ++sState.live;
  NoteAllocation(block);
  return block;
}

[[maybe_unused]] void* Allocate(size_t size) {
  if (void* block = AllocateOrNull(size)) return block;
  throw std::bad_alloc();
}

[[maybe_unused]] void Release(void* block) noexcept {
  if (block == nullptr) return;
  if (block == sState.watched && !sState.released) {
    sState.released = true;
    sState.zero = IsZero(block, sState.watchedSize);
  }
  --sState.live;
  NoteRelease(block);
  std::free(block);
}

}  // namespace

// Clang's thread sanitizer brings its own, and refuses these: CMake leaves the tests that need them out of its runs.
#if !NETWEFT_UNDER_THREAD_SANITIZER
void* operator new(size_t size) { return Allocate(size); }
void* operator new[](size_t size) { return Allocate(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return AllocateOrNull(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return AllocateOrNull(size); }
void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, size_t) noexcept { Release(block); }
void operator delete[](void* block, size_t) noexcept { Release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { Release(block); }
#endif

namespace qx::test {

size_t CountAllocations() { return sState.allocations; }

long CountLiveAllocations() { return sState.live; }

AllocationLimit::AllocationLimit(size_t allowed) {
  sState.refused = false;
  sState.allowed = allowed;
}

AllocationLimit::~AllocationLimit() { sState.allowed = sUnlimited; }

bool AllocationLimit::wasHit() const { return sState.refused; }

ReleaseWatch::ReleaseWatch(const void* block, size_t size) {
  sState.watched = block;
  sState.watchedSize = size;
  sState.released = false;
  sState.zero = false;
}

ReleaseWatch::~ReleaseWatch() { sState.watched = nullptr; }

bool ReleaseWatch::wasReleased() const { return sState.released; }

bool ReleaseWatch::wasZero() const { return sState.zero; }

}  // namespace qx::test
