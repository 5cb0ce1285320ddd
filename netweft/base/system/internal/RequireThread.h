#pragma once

#include "netweft/base/system/qxThread.h"

#include <system_error>

namespace qx::impl {

/// For constructors of those that are nothing without their threads: whoever waited for them would wait for ever.
/// Throws std::system_error when not one runs.
inline void RequireThread(bool isAnyRunning) {
  if (isAnyRunning) return;
  throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again),
                          "qxNetweft : no thread could be started");
}

/// Right after its start; `thread` must be one that does not end by itself.
inline bool IsThreadRunning(qxThread& thread) { return !thread.waitThread(0); }

}  // namespace qx::impl
