#pragma once

#include "netweft/base/crypto/HashType.h"
#include "netweft/base/crypto/internal/OpenSslHandles.h"

#include <array>
#include <atomic>

namespace qx::impl {

/// A key's contexts for signing and verifying, one per operation and digest. To make one ready looks algorithms up by
/// name, which takes locks and time; so each is made ready once, at its first use, and never worked with: every call
/// works with a copy of its own, and no context is shared between threads. Any thread.
class KeyContexts {
 public:
  enum Operation { O_Verify, O_Sign };

  KeyContexts() = default;
  KeyContexts(const KeyContexts&) = delete;
  KeyContexts& operator=(const KeyContexts&) = delete;
  ~KeyContexts();

  /// A context ready to sign or verify digests of this type with `key`, which must be the same in all calls. Null when
  /// the digest is unknown or the crypto library failed; the next call tries again.
  EvpPkeyCtxPtr copy(EVP_PKEY* key, Operation operation, HashType type);

 private:
  static constexpr size_t sDigests = HT_Sha512 - HT_Sha256 + 1;

  /// Null until first use; set once.
  std::array<std::array<std::atomic<EVP_PKEY_CTX*>, sDigests>, 2> mReady{};
};

}  // namespace qx::impl
