#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/ThreadAnnotations.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace qx {

/// A lock that its holder may take again: a host's callback runs at times with a lock of the library's held, and
/// may call back. Taken and released on the same thread, as many times one as the other.
class NETWEFT_CAPABILITY("mutex") NETWEFT_EXPORT qxMutex {
 public:
  qxMutex() = default;
  qxMutex(const qxMutex&) = delete;
  qxMutex& operator=(const qxMutex&) = delete;
  virtual ~qxMutex();

  /// Take it, waiting without limit while another thread holds it, and give it back once.
  void lock() NETWEFT_ACQUIRE();
  void unlock() NETWEFT_RELEASE();

 private:
  friend class qxWaitCondition;

  // Not std::recursive_mutex: only a std::mutex can be waited on without a second lock inside the condition.
  std::mutex mMutex;
  /// Who holds it. A thread can find its own id here only when it put it there, so any order of memory will do.
  std::atomic<std::thread::id> mHolder;
  /// How often the holder has taken the lock; read and written by the holder alone.
  int mDepth = 0;
};

}  // namespace qx
