#pragma once

#include "netweft/base/crypto/HashType.h"
#include "netweft/base/crypto/internal/OpenSslHandles.h"

namespace qx::impl {

/// The digest, looked up once per process and kept: a look-up by name takes locks and time. Null for an unknown type,
/// or when the crypto library has no such digest. Any thread.
const EVP_MD* GetDigest(HashType type);

}  // namespace qx::impl
