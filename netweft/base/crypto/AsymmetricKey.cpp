#include "netweft/base/crypto/AsymmetricKey.h"

#include "netweft/base/crypto/internal/AsymmetricKeyAccess.h"

namespace qx {

AsymmetricKey::AsymmetricKey() : mHandle(std::make_unique<Handle>()) {}

AsymmetricKey::~AsymmetricKey() = default;

void AsymmetricKeyAccess::Accept(AsymmetricKey& key, impl::KeyMaterial material) {
  key.mErrorMessage = std::move(material.error);
  if (key.hasError()) return;
  key.mHandle->pkey = std::move(material.pkey);
  key.capabilities = material.isPrivate ? AsymmetricKey::AC_Verify | AsymmetricKey::AC_Sign : AsymmetricKey::AC_Verify;
}

}  // namespace qx
