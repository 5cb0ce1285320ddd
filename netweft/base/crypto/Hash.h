#pragma once

#include "netweft/base/crypto/HashType.h"
#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// Digest of `data`, and HMAC of `data` under `key`; `out` is replaced by the raw bytes. False for an unknown type or a
/// failure of the crypto library, with `out` empty. Any thread. The algorithms are looked up once per process.
NETWEFT_EXPORT bool ComputeHash(const string& data, HashType type, bytes& out);
NETWEFT_EXPORT bool ComputeHmac(HashType type, const char* key, uint64 keyLen, const char* data, uint64 dataLen,
                                bytes& out);

}  // namespace qx
