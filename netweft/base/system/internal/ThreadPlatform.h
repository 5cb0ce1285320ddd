#pragma once

#include "netweft/base/system/qxTypes.h"

#if !defined(_WIN32)
#  include <csignal>
#endif

/// What the operating system alone knows of threads.
namespace qx::impl {

/// The operating system's number of the calling thread.
uint64 CurrentThreadId() noexcept;

/// Names the calling thread for debuggers; cut to 15 characters.
void NameCurrentThread(const char* name) noexcept;

/// While it lives, the calling thread blocks all signals but those of a crash handler and a profiler; a thread that is
/// started meanwhile inherits that for good. Put back by the destructor. Nothing on Windows.
class SignalBlock {
 public:
  SignalBlock() noexcept;
  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;
  ~SignalBlock();

#if !defined(_WIN32)
 private:
  sigset_t mPrevious;
#endif
};

}  // namespace qx::impl
