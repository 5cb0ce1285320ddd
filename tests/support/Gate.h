#pragma once

#include "netweft/base/system/qxTypes.h"

#include <chrono>
#include <functional>

namespace qx::test {

/// A point at which a script stands still until the test lets it go on. Copies are one and the same gate. Any thread.
class Gate {
 public:
  Gate();

  /// Lets through all who wait and all who come later.
  void open() const;
  bool isOpen() const;

  /// Waits until `count` scripts in all have come to the gate; false when that took too long.
  [[nodiscard]] bool waitForArrivals(uint64 count, std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

  /// Counts an arrival and calls `onOpen` once: at once when the gate stands open, else from the thread that opens it.
  void arrive(std::function<void()> onOpen) const;

 private:
  struct State;
  shared_ptr<State> mState;
};

}  // namespace qx::test
