#pragma once

#include "netweft/base/crypto/AsymmetricKey.h"
#include "netweft/base/crypto/internal/KeyMaterial.h"

namespace qx {

/// A key's half that only this folder sees. Null until a constructor has accepted the key. Its EVP_PKEY is constant
/// from then on and may be used by several threads; a context made for it belongs to one call.
struct AsymmetricKey::Handle {
  impl::EvpPkeyPtr pkey;
};

/// The door into a key.
struct AsymmetricKeyAccess {
  /// What the constructors end with: the key takes the material, or its error, and its capabilities from it.
  static void Accept(AsymmetricKey& key, impl::KeyMaterial material);

  /// For signing and verifying. Null when the key has an error. Lives as long as the key.
  static EVP_PKEY* GetPkey(const AsymmetricKey& key) noexcept {
    return key.hasError() ? nullptr : key.mHandle->pkey.get();
  }
};

}  // namespace qx
