#pragma once

#include "netweft/base/crypto/HashType.h"
#include "netweft/jwt/Alg.h"

#include <string_view>

namespace qx::jwt {

/// What stands behind one algorithm.
struct AlgTraits {
  Alg alg;
  std::string_view name;
  HashType hash;
};

/// Null unless `alg` is exactly one of the algorithms.
const AlgTraits* FindAlgTraits(int alg) noexcept;

}  // namespace qx::jwt
