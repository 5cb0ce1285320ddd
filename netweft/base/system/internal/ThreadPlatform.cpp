#include "netweft/base/system/internal/ThreadPlatform.h"

#include <cstring>

#if defined(_WIN32)
#  include <windows.h>
#else
#  include <pthread.h>
#  include <unistd.h>
#endif

namespace qx::impl {

#if defined(_WIN32)

uint64 CurrentThreadId() noexcept { return GetCurrentThreadId(); }

void NameCurrentThread(const char*) noexcept {}

SignalBlock::SignalBlock() noexcept = default;

SignalBlock::~SignalBlock() {}

#else

uint64 CurrentThreadId() noexcept { return static_cast<uint64>(gettid()); }

void NameCurrentThread(const char* name) noexcept {
  // A longer name would be refused, not cut.
  char cut[16] = {};
  std::strncpy(cut, name, sizeof(cut) - 1);
  pthread_setname_np(pthread_self(), cut);
}

SignalBlock::SignalBlock() noexcept {
  sigset_t blocked;
  sigfillset(&blocked);
  for (int reserved : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS, SIGPROF})
    sigdelset(&blocked, reserved);
  pthread_sigmask(SIG_SETMASK, &blocked, &mPrevious);
}

SignalBlock::~SignalBlock() { pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr); }

#endif

}  // namespace qx::impl
