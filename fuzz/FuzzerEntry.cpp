#include "fuzz/LogLineCheck.h"
#include "fuzz/Target.h"

/// What libFuzzer calls: the program's only target.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  static const qx::fuzz::LogLineCheck log;
  static const qx::fuzz::Target::Check check = qx::fuzz::Target::GetChecks().begin()->second;
  check({reinterpret_cast<const char*>(data), size});
  return 0;
}
