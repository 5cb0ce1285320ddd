#include "tests/torture/ThreadFault.h"

#include <atomic>
#include <limits>
#include <system_error>

namespace {

constexpr qx::uint64 sUnlimited = std::numeric_limits<qx::uint64>::max();
std::atomic<qx::uint64> sGranted{sUnlimited};

}  // namespace

// The standard library asks the system in here, and is itself out of a wrapper's reach: std::thread::_M_start_thread(
// std::unique_ptr<std::thread::_State>, void (*)()), whose second argument comes as a pointer to it.
extern "C" void RealStart(void* thread, void* state, void (*depend)()) asm(
    "__real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE");
extern "C" void WrappedStart(void* thread, void* state, void (*depend)()) asm(
    "__wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE");

void WrappedStart(void* thread, void* state, void (*depend)()) {
  if (sGranted != sUnlimited && sGranted-- == 0) {
    sGranted = 0;
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  }
  RealStart(thread, state, depend);
}

namespace qx::test {

ThreadFault::ThreadFault(uint64 granted) { sGranted = granted; }

ThreadFault::~ThreadFault() { sGranted = sUnlimited; }

}  // namespace qx::test
