#include "netweft/base/system/internal/CallbackRounds.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxMutexLocker.h"

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
  const qxMutexLocker lock(mMutex, true);
  if (find(fn, arg) != mRegistrations.end()) return;
  mRegistrations.push_back({mLastId + 1, fn, arg});
  ++mLastId;
}

void CallbackRounds::remove(Callback fn, void* arg) {
  const qxMutexLocker lock(mMutex, true);
  const auto found = find(fn, arg);
  if (found != mRegistrations.end()) mRegistrations.erase(found);
  // It may have been removed before, and run still.
  const bool runs = mRunning && mCurrent.fn == fn && mCurrent.arg == arg;
  if (!runs || mThread == std::this_thread::get_id()) return;
  const uint64 call = mFinishedCalls;
  while (mFinishedCalls == call) mCallFinished.wait(&mMutex, qxWaitCondition::sNoLimit);
}

void CallbackRounds::runRound() {
  qxMutexLocker lock(mMutex, true);
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
    mCallFinished.wakeAll();
  }
}

void CallbackRounds::stop() {
  const qxMutexLocker lock(mMutex, true);
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
                                 [last = mCurrent.id](const Registration& it) { return it.id > last; });
  if (next == mRegistrations.end() || next->id > lastOfRound) return false;
  mCurrent = *next;
  return true;
}

}  // namespace qx::impl
