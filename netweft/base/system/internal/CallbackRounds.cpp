#include "netweft/base/system/internal/CallbackRounds.h"

#include "netweft/base/system/qxLogObject.h"

#include <algorithm>
#include <exception>

namespace qx::impl {
namespace {

void CallGuarded(CallbackRounds::Callback fn, void* arg) noexcept {
  try {
    fn(arg);
  } catch (const std::exception& error) {
    LogError() << "A periodical callback ended with an exception: " << error.what();
  } catch (...) {
    LogError() << "A periodical callback ended with an unknown exception";
  }
}

}  // namespace

void CallbackRounds::add(Callback fn, void* arg) {
  const std::lock_guard lock(mMutex);
  if (find(fn, arg) != mRegistrations.end()) return;
  mRegistrations.push_back({mLastId + 1, fn, arg});
  ++mLastId;
}

void CallbackRounds::remove(Callback fn, void* arg) {
  std::unique_lock lock(mMutex);
  const auto found = find(fn, arg);
  if (found != mRegistrations.end()) mRegistrations.erase(found);
  // It may have been removed before, and run still.
  const bool runs = mRunning && mCurrent.fn == fn && mCurrent.arg == arg;
  if (!runs || mThread == std::this_thread::get_id()) return;
  mCallFinished.wait(lock, [this, call = mFinishedCalls] { return mFinishedCalls != call; });
}

void CallbackRounds::runRound() {
  std::unique_lock lock(mMutex);
  const uint64 lastOfRound = mLastId;
  mThread = std::this_thread::get_id();
  mCurrent = {};
  while (takeNext(lastOfRound)) {
    const auto [id, fn, arg] = mCurrent;
    mRunning = true;
    lock.unlock();
    CallGuarded(fn, arg);
    lock.lock();
    mRunning = false;
    ++mFinishedCalls;
    mCallFinished.notify_all();
  }
}

void CallbackRounds::stop() {
  const std::lock_guard lock(mMutex);
  mStopped = true;
}

vector<CallbackRounds::Registration>::iterator CallbackRounds::find(Callback fn, void* arg) {
  return std::find_if(mRegistrations.begin(), mRegistrations.end(),
                      [fn, arg](const Registration& it) { return it.fn == fn && it.arg == arg; });
}

/// Finds its place anew each time, since a callback may have added and removed any number of them.
bool CallbackRounds::takeNext(uint64 lastOfRound) {
  if (mStopped) return false;
  const auto next = std::find_if(mRegistrations.begin(), mRegistrations.end(),
                                 [this](const Registration& it) { return it.id > mCurrent.id; });
  if (next == mRegistrations.end() || next->id > lastOfRound) return false;
  mCurrent = *next;
  return true;
}

}  // namespace qx::impl
