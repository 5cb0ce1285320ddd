#pragma once

#include "tests/support/FaultyProxy.h"

#include <array>
#include <atomic>
#include <mutex>
#include <random>

namespace qx::test {

/// Faults by chance for the exchanges of one proxy, and how many there were. The same seed gives the same row of
/// faults; which exchange each one hits is up to the threads. Any thread.
///
/// A byte is changed in the name of the protocol alone, where a client must see it: in a document or a sequence nobody
/// can.
class RandomFaults {
 public:
  static constexpr size_t KindCount = Fault::FK_Slice + 1;

  /// One exchange in `oneIn` has a fault.
  RandomFaults(unsigned seed, unsigned oneIn) : mRandom(seed), mOneIn(oneIn) {}

  Fault draw();
  uint64 getCount(Fault::Kind kind) const { return mCounts[kind]; }

 private:
  uint64 below(uint64 bound) { return std::uniform_int_distribution<uint64>(0, bound - 1)(mRandom); }

  std::mutex mMutex;
  std::mt19937 mRandom;
  const unsigned mOneIn;
  std::array<std::atomic<uint64>, KindCount> mCounts{};
};

}  // namespace qx::test
