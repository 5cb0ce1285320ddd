#include "netweft/base/system/qxThreadPeriodicalUpdater.h"

#include "netweft/base/system/internal/CallbackRounds.h"

#include <algorithm>
#include <chrono>

namespace qx {

struct NETWEFT_HIDDEN qxThreadPeriodicalUpdater::State {
  explicit State(unsigned int seconds) : period(std::max(seconds, 1U)) {}

  /// False when it is time to end.
  bool waitForRound() {
    std::unique_lock lock(mutex);
    return !stopChanged.wait_for(lock, period, [this] { return stop; });
  }

  const std::chrono::seconds period;
  impl::CallbackRounds rounds;
  std::mutex mutex;
  std::condition_variable stopChanged;
  bool stop = false;  ///< guarded by `mutex`
};

qxThreadPeriodicalUpdater::qxThreadPeriodicalUpdater(unsigned int period) : mState(std::make_unique<State>(period)) {
  startThread(nullptr);
}

qxThreadPeriodicalUpdater::~qxThreadPeriodicalUpdater() {
  mState->rounds.stop();
  {
    const std::lock_guard lock(mState->mutex);
    mState->stop = true;
  }
  mState->stopChanged.notify_all();
  waitThread(sNoLimit);
}

void qxThreadPeriodicalUpdater::addCallback(Callback fn, void* arg) { mState->rounds.add(fn, arg); }

void qxThreadPeriodicalUpdater::removeCallback(Callback fn, void* arg) { mState->rounds.remove(fn, arg); }

void qxThreadPeriodicalUpdater::run() {
  SetCurrentThreadName("netweft-updater");
  while (mState->waitForRound()) mState->rounds.runRound();
}

}  // namespace qx
