#include "netweft/base/system/qxThreadPeriodicalUpdater.h"

#include "netweft/base/system/internal/CallbackRounds.h"
#include "netweft/base/system/qxMutexLocker.h"

#include <algorithm>
#include <chrono>

namespace qx {

struct NETWEFT_HIDDEN qxThreadPeriodicalUpdater::State {
  explicit State(unsigned int seconds) : period(std::max(seconds, 1U)) {}

  /// False when it is time to end.
  bool waitForRound() {
    using std::chrono::steady_clock;
    const qxMutexLocker lock(mutex, true);
    const auto next = steady_clock::now() + period;
    for (auto now = steady_clock::now(); !stop && now < next; now = steady_clock::now()) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
      stopChanged.wait(&mutex, std::min(static_cast<unsigned long>(left), qxWaitCondition::sNoLimit - 1));
    }
    return !stop;
  }

  const std::chrono::seconds period;
  impl::CallbackRounds rounds;
  qxMutex mutex;
  qxWaitCondition stopChanged;
  bool stop NETWEFT_GUARDED_BY(mutex) = false;
};

qxThreadPeriodicalUpdater::qxThreadPeriodicalUpdater(unsigned int period) : mState(std::make_unique<State>(period)) {
  startThread(nullptr);
}

qxThreadPeriodicalUpdater::~qxThreadPeriodicalUpdater() {
  mState->rounds.stop();
  {
    const qxMutexLocker lock(mState->mutex, true);
    mState->stop = true;
  }
  mState->stopChanged.wakeAll();
  waitThread(sNoLimit);
}

void qxThreadPeriodicalUpdater::addCallback(Callback fn, void* arg) { mState->rounds.add(fn, arg); }

void qxThreadPeriodicalUpdater::removeCallback(Callback fn, void* arg) { mState->rounds.remove(fn, arg); }

void qxThreadPeriodicalUpdater::run() {
  SetCurrentThreadName("netweft-updater");
  while (mState->waitForRound()) mState->rounds.runRound();
}

}  // namespace qx
