#pragma once

#include "netweft/base/system/qxMutex.h"

namespace qx::impl {

/// Tells the thread safety analysis that `mutex` is held here, and does nothing. For what it cannot follow: a lambda,
/// which it reads apart from whoever calls it, and a lock that the caller knows by another name.
inline void AssumeHeld([[maybe_unused]] const qxMutex& mutex) noexcept NETWEFT_ASSERT_CAPABILITY(mutex) {}

}  // namespace qx::impl
