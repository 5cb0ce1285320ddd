#pragma once

#include "netweft/base/crypto/DigestAsymmetric.h"

/// Signing and verifying for callers who take the algorithm and the key from different places, as tokens do: told the
/// algorithm's family, both fail with `SE_KeyMismatch` before anything else when the key is of another kind, or lies on
/// another curve than the family has with that digest: P-256 with SHA-256, P-384 with SHA-384, P-521 with SHA-512. A
/// key with an error is `SE_InvalidKey` all the same. In all else they are the functions of the same name.
namespace qx::impl {

bool SignDigestAsymmetric(bytes& out, const char* data, uint64 n, AsymmetricKey& key, HashType type,
                          AsymmetricKey::Kind family, SignatureError* err);

bool VerifyDigestAsymmetric(const char* sig, uint64 sigLen, const char* data, uint64 n, AsymmetricKey& key,
                            HashType type, AsymmetricKey::Kind family, SignatureError* err);

}  // namespace qx::impl
