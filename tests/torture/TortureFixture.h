#pragma once

#include "tests/support/AllocationFault.h"
#include "tests/support/FaultExemption.h"
#include "tests/support/ThreadNames.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <new>
#include <optional>
#include <sstream>
#include <thread>

namespace qx::test {

/// One run of a scenario, in which an allocation fails, or a row of them.
class Attempt {
 public:
  /// 0: none fails.
  Attempt(size_t number, size_t row) : mNumber(number), mRow(row) {}

  /// Calls with the fault in wait, once in a run. True when the caller was told by std::bad_alloc.
  template <class Call>
  bool runsOut(Call&& call) {
    if (mNumber != 0) mFault.emplace(mNumber, mRow);
    bool told = false;
    try {
      call();
    } catch (const std::bad_alloc&) {
      told = true;
    }
    if (mFault) mFault->disarm();
    return told;
  }

  bool wasHit() const { return mFault && mFault->wasHit(); }
  void printPlace() const {
    if (wasHit()) mFault->printPlace();
  }

 private:
  const size_t mNumber;
  const size_t mRow;
  std::optional<AllocationFault> mFault;
};

/// True in the long runs, which leave no allocation out.
inline bool IsTortureWhole() { return std::getenv("NETWEFT_TORTURE_WHOLE") != nullptr; }

/// Waits until so many threads bear the name: one that has no work yet may still have to give it to itself.
inline bool AwaitThreads(const string& name, uint64 count) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (CountThreadsNamed(name) != count) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

inline void ReportPoints(size_t points, size_t row = 1) {
  EXPECT_GT(points, 0u);
  std::cout << "failure points, " << row << " allocation(s) each: " << points << std::endl;
}

/// Beside a fixture: runs a scenario again and again. Without a fault first, so that what is made once in a process is
/// there, then with its first allocation failing, its second, and so on until none is left to fail: in several runs,
/// since threads do not allocate the same number each time. What a run allocates must be given back when it ends.
///
/// The tests' own allocations on threads of the library's, in callbacks, are made under a `FaultExemption`.
template <class Fixture = testing::Test>
class Torture : public Fixture {
 protected:
  /// `scenario(Attempt&)` makes what it needs, does what is tortured inside `runsOut`, and checks.
  ///
  /// First a single allocation fails, and then three in a row: what takes care of the first one may need memory, too.
  template <class Scenario>
  void failEach(Scenario scenario) {
    failEachSingle(scenario);
    if (!this->HasFailure()) failEachOf(scenario, sRow, sRow);
  }

  /// For scenarios of which nobody could hear if there was no memory for the telling, either. In short runs only one of
  /// `stride` allocations fails.
  template <class Scenario>
  void failEachSingle(Scenario scenario, size_t stride = 1) {
    failEachOf(scenario, 1, stride);
  }

 private:
  static constexpr int sRunsWithoutAny = 3;
  static constexpr size_t sRow = 3;

  template <class Scenario>
  void failEachOf(Scenario scenario, size_t row, size_t stride) {
    if (IsTortureWhole()) stride = 1;
    size_t points = 0;
    int runsWithoutAny = 0;
    for (size_t number = 0; runsWithoutAny < sRunsWithoutAny; number += number == 0 ? 1 : stride) {
      std::ostringstream trace;
      trace << "allocation " << number << ", row of " << row;
      const testing::ScopedTrace scope(__FILE__, __LINE__, trace.str());
      Attempt attempt(number, row);
      {
        const BlockLedger ledger;
        scenario(attempt);
        if (number != 0) {
          EXPECT_EQ(ledger.countBlocks(), 0u);
        }
      }
      if (this->HasFailure()) {
        attempt.printPlace();
        return;
      }
      if (attempt.wasHit()) {
        ++points;
      } else if (number != 0) {
        ++runsWithoutAny;
      }
    }
    ReportPoints(points, row);
  }
};

}  // namespace qx::test
