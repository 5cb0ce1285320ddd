#include "tests/support/AllocationFault.h"

#include "tests/support/FaultExemption.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

#include <execinfo.h>
#include <unistd.h>

namespace qx::test {

namespace {

/// An open hash set of words that are not 0, in memory that is there from the start: it works inside operator new.
class WordSet {
 public:
  /// False when it was there already, or when there is no room.
  bool insert(std::uintptr_t word) noexcept {
    const std::lock_guard lock(mMutex);
    for (size_t i = Slot(word), probes = 0; probes < sSize; i = (i + 1) % sSize, ++probes) {
      if (mWords[i] == word) return false;
      if (mWords[i] != sFree && mWords[i] != sErased) continue;
      mWords[i] = word;
      ++mCount;
      return true;
    }
    return false;
  }

  void erase(std::uintptr_t word) noexcept {
    const std::lock_guard lock(mMutex);
    for (size_t i = Slot(word), probes = 0; mWords[i] != sFree && probes < sSize; i = (i + 1) % sSize, ++probes) {
      if (mWords[i] != word) continue;
      mWords[i] = mWords[(i + 1) % sSize] == sFree ? sFree : sErased;
      --mCount;
      return;
    }
  }

  void clear() noexcept {
    const std::lock_guard lock(mMutex);
    mWords.fill(sFree);
    mCount = 0;
  }

  size_t size() const noexcept {
    const std::lock_guard lock(mMutex);
    return mCount;
  }

 private:
  static constexpr size_t sSize = 1 << 18;
  static constexpr std::uintptr_t sFree = 0;
  static constexpr std::uintptr_t sErased = 1;

  static size_t Slot(std::uintptr_t word) { return (word >> 4) * 0x9E3779B97F4A7C15U >> 46; }

  mutable std::mutex mMutex;
  std::array<std::uintptr_t, sSize> mWords{};
  size_t mCount = 0;
};

enum Mode { M_Off, M_Number, M_Place };

std::atomic<Mode> sMode{M_Off};
std::atomic<size_t> sLeft{0};
std::atomic<size_t> sRow{1};
std::atomic<size_t> sSampling{1};
std::atomic<bool> sHit{false};
std::atomic<bool> sIsLedgerOpen{false};
constinit WordSet sPlaces;
constinit WordSet sBlocks;

/// Where one has failed: of a row, threads may come to it at the same time.
struct Place {
  std::mutex mutex;
  std::array<void*, 64> frames{};
  int count = 0;
};
constinit Place sFailed;

/// Of the innermost frames: enough to tell ways through the library apart, few enough that a deeper loop is no new one.
std::uintptr_t HashStack() noexcept {
  const FaultExemption own;
  std::array<void*, 24> frames{};
  const int count = backtrace(frames.data(), frames.size());
  std::uintptr_t hash = 14695981039346656037U;
  for (int i = 0; i < count; ++i) {
    hash = (hash ^ reinterpret_cast<std::uintptr_t>(frames[static_cast<size_t>(i)])) * 1099511628211U;
  }
  return hash | 2;  // neither free nor erased
}

/// Whoever switches the fault off is the one that fails.
bool SwitchOff(Mode mode) noexcept { return sMode.compare_exchange_strong(mode, M_Off); }

bool TakeNumber() noexcept {
  const size_t left = sLeft.fetch_sub(1);
  if (left == 1) return SwitchOff(M_Number);
  return left > 1 && left <= sRow && sMode == M_Number;
}

bool TakePlace() noexcept {
  const std::uintptr_t place = HashStack();
  if (place / 4 % sSampling != 0 || !sPlaces.insert(place)) return false;
  if (SwitchOff(M_Place)) return true;
  sPlaces.erase(place);
  return false;
}

void Arm(Mode mode) {
  std::array<void*, 1> frame{};
  backtrace(frame.data(), 1);  // loads what it needs at its first call
  sHit = false;
  sMode = mode;
}

void KeepPlace() noexcept {
  const FaultExemption own;
  const std::lock_guard lock(sFailed.mutex);
  sFailed.count = backtrace(sFailed.frames.data(), static_cast<int>(sFailed.frames.size()));
}

}  // namespace

AllocationFault::AllocationFault(size_t number, size_t row) {
  sLeft = number + row - 1;
  sRow = row;
  Arm(M_Number);
}

AllocationFault::AllocationFault(NewPlaces places) {
  sSampling = places.sampling;
  Arm(M_Place);
}

AllocationFault::~AllocationFault() { disarm(); }

void AllocationFault::disarm() { sMode = M_Off; }

bool AllocationFault::wasHit() const { return sHit; }

void AllocationFault::printPlace() const {
  const std::lock_guard lock(sFailed.mutex);
  backtrace_symbols_fd(sFailed.frames.data(), sFailed.count, STDERR_FILENO);
}

bool TakeAllocationFault() noexcept {
  const Mode mode = sMode.load(std::memory_order_relaxed);
  if (mode == M_Off || FaultExemption::IsActive()) return false;
  if (mode == M_Number ? !TakeNumber() : !TakePlace()) return false;
  KeepPlace();
  sHit = true;
  return true;
}

BlockLedger::BlockLedger() {
  sBlocks.clear();
  sIsLedgerOpen = true;
}

BlockLedger::~BlockLedger() { sIsLedgerOpen = false; }

size_t BlockLedger::countBlocks() const { return sBlocks.size(); }

void NoteAllocation(void* block) noexcept {
  if (sIsLedgerOpen.load(std::memory_order_relaxed) && !FaultExemption::IsActive()) {
    sBlocks.insert(reinterpret_cast<std::uintptr_t>(block));
  }
}

void NoteRelease(void* block) noexcept {
  if (sIsLedgerOpen.load(std::memory_order_relaxed)) sBlocks.erase(reinterpret_cast<std::uintptr_t>(block));
}

}  // namespace qx::test
