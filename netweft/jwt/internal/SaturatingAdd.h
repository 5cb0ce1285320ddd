#pragma once

#include "netweft/base/system/qxTypes.h"

#include <limits>

namespace qx::jwt {

/// The sum, or the end of the range that it lies beyond: the times in a token may be any number.
constexpr int64 SaturatingAdd(int64 a, int64 b) noexcept {
  using Limits = std::numeric_limits<int64>;
  if (b > 0 && a > Limits::max() - b) return Limits::max();
  if (b < 0 && a < Limits::min() - b) return Limits::min();
  return a + b;
}

}  // namespace qx::jwt
