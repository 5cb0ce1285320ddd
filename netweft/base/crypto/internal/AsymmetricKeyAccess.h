#pragma once

#include "netweft/base/crypto/AsymmetricKey.h"
#include "netweft/base/crypto/internal/KeyContexts.h"
#include "netweft/base/crypto/internal/KeyMaterial.h"

namespace qx {

/// A key's half that only this folder sees. Null until a constructor has accepted the key. Its EVP_PKEY is constant
/// from then on and may be used by several threads.
struct NETWEFT_HIDDEN AsymmetricKey::Handle {
  impl::EvpPkeyPtr pkey;
  impl::KeyContexts contexts;
};

/// The door into a key.
struct AsymmetricKeyAccess {
  /// What the constructors end with: the key takes the material, or its error, and its capabilities from it.
  static void Accept(AsymmetricKey& key, impl::KeyMaterial material);

  /// For signing and verifying. Null when the key has an error. Lives as long as the key.
  static EVP_PKEY* GetPkey(const AsymmetricKey& key) noexcept {
    return key.hasError() ? nullptr : key.mHandle->pkey.get();
  }

  /// For one call to work with. The key must have no error. Null when the crypto library failed.
  static impl::EvpPkeyCtxPtr CopyContext(const AsymmetricKey& key, impl::KeyContexts::Operation operation,
                                         HashType type) {
    return key.mHandle->contexts.copy(key.mHandle->pkey.get(), operation, type);
  }
};

}  // namespace qx
