#include "netweft/base/system/internal/FailPoint.h"

#include <atomic>

namespace qx::impl {

namespace {

constinit std::atomic<FailPointHandler> sHandler{nullptr};

}  // namespace

void SetFailPointHandler(FailPointHandler handler) noexcept { sHandler = handler; }

void ReachFailPoint(const char* name) {
  if (const FailPointHandler handler = sHandler) handler(name);
}

}  // namespace qx::impl
