#include "netweft/base/system/qxThread.h"

#include "netweft/base/system/internal/ThreadPlatform.h"
#include "netweft/base/system/qxLogObject.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <string>
#include <system_error>

namespace qx {

qxThread::~qxThread() { waitThread(sNoLimit); }

void qxThread::startThread(const char* name) {
  const std::lock_guard lock(mMutex);
  if (mRunning) return;
  if (mThread.joinable()) mThread.join();
  const impl::SignalBlock inherited;
  try {
    mThread = std::thread([this, label = std::string(name != nullptr ? name : "")] {
      if (!label.empty()) SetCurrentThreadName(label.c_str());
      runGuarded();
    });
    mRunning = true;  // in time: the thread takes the lock before it says that it has ended
  } catch (const std::system_error& error) {
    LogError() << "A thread could not be started: " << error.what();
  }
}

bool qxThread::waitThread(int ms) {
  std::unique_lock lock(mMutex);
  const auto ended = [this] { return !mRunning; };
  if (ms == sNoLimit) {
    mEnded.wait(lock, ended);
  } else if (!mEnded.wait_for(lock, std::chrono::milliseconds(std::max(ms, 0)), ended)) {
    return false;
  }
  // The thread is done with the lock by now, so it may be kept; a second caller returns no sooner than the first.
  if (mThread.joinable()) mThread.join();
  return true;
}

void qxThread::msleep(unsigned long ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

void qxThread::SetCurrentThreadName(const char* name) { impl::NameCurrentThread(name); }

void qxThread::runGuarded() noexcept {
  try {
    run();
  } catch (const std::exception& error) {
    LogError() << "A thread ended with an exception: " << error.what();
  } catch (...) {
    LogError() << "A thread ended with an unknown exception";
  }
  const std::lock_guard lock(mMutex);
  mRunning = false;
  mEnded.notify_all();
}

}  // namespace qx
