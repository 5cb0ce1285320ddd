#pragma once

#include <cstddef>

namespace qx::test {

/// An allocation that fails, or several in a row, among those of all threads of the process that are not exempt (see
/// FaultExemption). The hooks that a program is linked with say which allocations these are: operator new, libcurl's
/// own. One fault at a time.
class AllocationFault {
 public:
  /// Call stacks, as far as the innermost frames tell them apart; of these, one in `sampling`. Which, changes with the
  /// addresses at which the process was loaded.
  struct NewPlaces {
    size_t sampling = 1;
  };

  /// The one at `number`, from 1, counted from here, and those behind it, `row` of them in all.
  explicit AllocationFault(size_t number, size_t row = 1);
  /// The first one that comes from a place at which none has failed before, in this process.
  explicit AllocationFault(NewPlaces places);
  AllocationFault(const AllocationFault&) = delete;
  AllocationFault& operator=(const AllocationFault&) = delete;
  ~AllocationFault();

  /// From the return on none fails any more.
  void disarm();
  /// True when one has failed.
  bool wasHit() const;
  /// When it was hit. To stderr, for addr2line: the stack of the allocation that has failed, the last one of a row.
  void printPlace() const;
};

/// For the hooks: true when this allocation must fail.
bool TakeAllocationFault() noexcept;

/// While it lives, blocks that threads without an exemption get are remembered until they are given back.
class BlockLedger {
 public:
  BlockLedger();
  BlockLedger(const BlockLedger&) = delete;
  BlockLedger& operator=(const BlockLedger&) = delete;
  ~BlockLedger();

  /// Of those, how many are still out.
  size_t countBlocks() const;
};

/// For the hooks.
void NoteAllocation(void* block) noexcept;
void NoteRelease(void* block) noexcept;

}  // namespace qx::test
