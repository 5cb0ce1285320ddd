#pragma once

#include "netweft/base/system/NetweftExport.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace qx {

/// A thread whose body is `run`. It knows no way to stop it: a subclass carries a stop flag of its own, sets it
/// under its own lock, wakes its condition, and then calls `waitThread`. That must have happened before the
/// subclass's part of the object dies; the destructor here only joins as a last resort.
///
/// The new thread blocks all signals but SEGV, BUS, FPE, ILL, TRAP, ABRT, SYS and PROF, which must reach the
/// host's crash handler and profiler. An exception that leaves `run` ends that thread and is logged as an error.
class NETWEFT_EXPORT qxThread {
 public:
  /// As `ms` of `waitThread`: wait without limit.
  static constexpr int sNoLimit = 0x7FFFFFFF;

  qxThread() = default;
  qxThread(const qxThread&) = delete;
  qxThread& operator=(const qxThread&) = delete;
  virtual ~qxThread();

 protected:
  /// The body, on the new thread.
  virtual void run() = 0;

 public:
  /// Starts the thread; does nothing while one runs. A null name leaves the naming to the body, which calls
  /// `SetCurrentThreadName`.
  ///
  /// When the system gives no thread, an error is logged, and `waitThread(0)` is true at once. Throws std::bad_alloc.
  void startThread(const char* name);

  /// Joins. True when the thread has ended or never started, false at the limit. Real time, in milliseconds.
  bool waitThread(int ms);

  /// Sleeps the calling thread; milliseconds.
  static void msleep(unsigned long ms);

  /// Names the calling thread for debuggers; cut to 15 characters.
  static void SetCurrentThreadName(const char* name);

 private:
  void runGuarded() noexcept;

  std::mutex mMutex;
  std::condition_variable mEnded;
  std::thread mThread;
  bool mRunning = false;
};

}  // namespace qx
