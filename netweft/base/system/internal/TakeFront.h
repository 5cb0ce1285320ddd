#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::impl {

/// Moves up to `limit` entries from the front of an ordered set or map into another of its kind, which may hold some
/// already. Nothing is copied or allocated, so nothing is lost to a want of memory.
template <class Container>
void TakeFront(Container& from, Container& to, uint64 limit) noexcept {
  for (; limit > 0 && !from.empty(); --limit) to.insert(from.extract(from.begin()));
}

}  // namespace qx::impl
