#pragma once

#include "netweft/base/system/qxThread.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// A thread that calls its registered callbacks over and over. It starts with construction; the destructor stops
/// and joins it. A pair of function and argument identifies a registration; the argument stays the caller's and
/// must live until `removeCallback` has returned.
///
/// Callbacks run on the updater's thread, one after the other, without a lock of the updater's held.
class NETWEFT_EXPORT qxThreadPeriodicalUpdater : public qxThread {
 public:
  /// An exception that it throws is logged as an error and changes nothing else.
  using Callback = void (*)(void* arg);

  /// `period`: seconds of real time between two rounds; 0 counts as 1.
  explicit qxThreadPeriodicalUpdater(unsigned int period);
  ~qxThreadPeriodicalUpdater() override;

  /// Registers the pair, from the next round on; nothing happens when it is registered already.
  void addCallback(Callback fn, void* arg);

  /// After this returns, the callback is not running and will not run again: a call from another thread waits
  /// while the callback runs. From inside that very callback it returns at once, and the callback is not run
  /// again after it has returned.
  void removeCallback(Callback fn, void* arg);

 protected:
  void run() override;

 private:
  struct State;
  unique_ptr<State> mState;
};

}  // namespace qx
