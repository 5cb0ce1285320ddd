#pragma once

#include "netweft/base/system/NetweftExport.h"

#include <mutex>

namespace qx {

/// A lock that its holder may take again: a host's callback runs at times with a lock of the library's held, and
/// may call back. Taken and released on the same thread, as many times one as the other.
class NETWEFT_EXPORT qxMutex {
 public:
  qxMutex() = default;
  qxMutex(const qxMutex&) = delete;
  qxMutex& operator=(const qxMutex&) = delete;
  virtual ~qxMutex();

  /// Take it, waiting without limit while another thread holds it, and give it back once.
  void lock();
  void unlock();

 private:
  friend class qxWaitCondition;

  std::recursive_mutex mMutex;
  /// How often the holder has taken the lock; written by the holder alone.
  int mDepth = 0;
};

}  // namespace qx
