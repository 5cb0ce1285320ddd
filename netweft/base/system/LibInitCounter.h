#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

#include <atomic>

namespace qx::impl {

/// Counts how often a library was initialised. Any thread.
class NETWEFT_EXPORT LibInitCounter {
 public:
  /// `name` must outlive the counter. With `warnIfLeft` a counter that dies above zero (a host that forgot to
  /// terminate) writes a warning with the name.
  LibInitCounter(const char* name, bool warnIfLeft) noexcept;
  LibInitCounter(const LibInitCounter&) = delete;
  LibInitCounter& operator=(const LibInitCounter&) = delete;
  ~LibInitCounter();

  /// True only for the call that takes the count from 0 to 1.
  bool incrementInitCounter() noexcept;
  /// True only for the call that takes the count back to 0. At 0 it stays at 0 and the result is false.
  bool decrementInitCounter() noexcept;
  /// Whether the count is above 0.
  bool isInitialized() const noexcept;

 private:
  const char* mName;
  bool mWarnIfLeft;
  std::atomic<int> mCount{0};
};

}  // namespace qx::impl
