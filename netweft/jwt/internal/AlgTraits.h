#pragma once

#include "netweft/base/crypto/AsymmetricKey.h"
#include "netweft/base/crypto/HashType.h"
#include "netweft/jwt/Alg.h"

#include <string_view>

namespace qx::jwt {

/// What stands behind one algorithm.
struct AlgTraits {
  Alg alg;
  std::string_view name;
  HashType hash;

  bool isHmac() const noexcept { return (alg & sHmacAlgs) != 0; }
  /// The kind of key that an algorithm outside the HMAC family asks for.
  AsymmetricKey::Kind getKeyKind() const noexcept {
    return (alg & sRsaAlgs) != 0 ? AsymmetricKey::AK_Rsa : AsymmetricKey::AK_EllipticCurve;
  }
};

/// Null unless `alg` is exactly one of the algorithms.
const AlgTraits* FindAlgTraits(int alg) noexcept;

}  // namespace qx::jwt
