#include "netweft/base/system/qxThreadPeriodicalUpdater.h"

#include "netweft/base/system/qxLogObject.h"

#include <algorithm>
#include <chrono>
#include <exception>

namespace qx {

struct qxThreadPeriodicalUpdater::State {
  struct Registration {
    uint64 id;
    Callback fn;
    void* arg;

    bool is(Callback otherFn, void* otherArg) const noexcept { return fn == otherFn && arg == otherArg; }
  };

  explicit State(unsigned int seconds) : period(std::max(seconds, 1U)) {}

  /// False when it is time to end.
  bool waitForRound(std::unique_lock<std::mutex>& lock) {
    return !stopChanged.wait_for(lock, period, [this] { return stop; });
  }

  /// The registration after `id` that stood when the round began; null when there is none left.
  const Registration* next(uint64 id, uint64 lastOfRound) const {
    const auto found = std::find_if(registrations.begin(), registrations.end(),
                                    [id](const Registration& candidate) { return candidate.id > id; });
    return found != registrations.end() && found->id <= lastOfRound ? &*found : nullptr;
  }

  vector<Registration>::iterator find(Callback fn, void* arg) {
    return std::find_if(registrations.begin(), registrations.end(),
                        [fn, arg](const Registration& candidate) { return candidate.is(fn, arg); });
  }

  void runRound(std::unique_lock<std::mutex>& lock) {
    const uint64 lastOfRound = lastId;
    uint64 done = 0;
    while (!stop) {
      const Registration* registration = next(done, lastOfRound);
      if (registration == nullptr) return;
      running = *registration;
      done = running.id;
      lock.unlock();
      call(running);
      lock.lock();
      running = {};
      ++finishedCalls;
      callFinished.notify_all();
    }
  }

  static void call(const Registration& registration) noexcept {
    try {
      registration.fn(registration.arg);
    } catch (const std::exception& error) {
      LogError() << "A periodical callback ended with an exception: " << error.what();
    } catch (...) {
      LogError() << "A periodical callback ended with an unknown exception";
    }
  }

  const std::chrono::seconds period;
  std::mutex mutex;
  std::condition_variable stopChanged;
  std::condition_variable callFinished;
  // All below are guarded by `mutex`.
  vector<Registration> registrations;  ///< ascending by id
  uint64 lastId = 0;
  Registration running{};  ///< id 0 while none runs
  uint64 finishedCalls = 0;
  std::thread::id thread;
  bool stop = false;
};

qxThreadPeriodicalUpdater::qxThreadPeriodicalUpdater(unsigned int period) : mState(std::make_unique<State>(period)) {
  startThread(nullptr);
}

qxThreadPeriodicalUpdater::~qxThreadPeriodicalUpdater() {
  {
    const std::lock_guard lock(mState->mutex);
    mState->stop = true;
  }
  mState->stopChanged.notify_all();
  waitThread(sNoLimit);
}

void qxThreadPeriodicalUpdater::addCallback(Callback fn, void* arg) {
  const std::lock_guard lock(mState->mutex);
  if (mState->find(fn, arg) != mState->registrations.end()) return;
  mState->registrations.push_back({mState->lastId + 1, fn, arg});
  ++mState->lastId;
}

void qxThreadPeriodicalUpdater::removeCallback(Callback fn, void* arg) {
  std::unique_lock lock(mState->mutex);
  const auto found = mState->find(fn, arg);
  if (found != mState->registrations.end()) mState->registrations.erase(found);
  const bool inside = mState->running.id != 0 && mState->running.is(fn, arg);
  if (!inside || mState->thread == std::this_thread::get_id()) return;
  const uint64 call = mState->finishedCalls;
  mState->callFinished.wait(lock, [this, call] { return mState->finishedCalls != call; });
}

void qxThreadPeriodicalUpdater::run() {
  SetCurrentThreadName("netweft-updater");
  std::unique_lock lock(mState->mutex);
  mState->thread = std::this_thread::get_id();
  while (mState->waitForRound(lock)) mState->runRound(lock);
}

}  // namespace qx
