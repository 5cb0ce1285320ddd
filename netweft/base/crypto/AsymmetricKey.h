#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// Base of the asymmetric keys. Built by a subclass's constructor, which reports failure through `hasError`; a key with
/// an error signs and verifies nothing. Immutable but for its two public fields, so one key may serve several threads
/// that leave those alone. Held by `shared_ptr` where it is shared.
class NETWEFT_EXPORT AsymmetricKey {
 public:
  /// The family of a key.
  enum Kind : int32 {
    AK_Rsa = 1,            ///< an `RSAKey`
    AK_EllipticCurve = 2,  ///< an `EllipticCurveKey`
  };

  /// The bits of `capabilities`.
  enum Capability : int32 {
    AC_Verify = 1,  ///< the public half is there
    AC_Sign = 2,    ///< the private half is there
  };

  AsymmetricKey(const AsymmetricKey&) = delete;
  AsymmetricKey& operator=(const AsymmetricKey&) = delete;
  virtual ~AsymmetricKey();

  /// Key identifier, the "kid" of a token; empty from construction.
  string keyId;
  /// What the key can do; set by construction.
  int capabilities = 0;

  /// Whether construction failed, and why; the text is empty for a sound key.
  bool hasError() const noexcept { return !mErrorMessage.empty(); }
  const string& getErrorMessage() const noexcept { return mErrorMessage; }

  /// Which subclass this is.
  virtual Kind getKind() const noexcept = 0;
  /// Whether the key holds a private half.
  bool canSign() const noexcept { return (capabilities & AC_Sign) != 0; }

 protected:
  struct Handle;

  /// Without an EVP key, and with no error yet: a subclass's constructor gives it one or the other.
  AsymmetricKey();

 private:
  /// The door of construction, signing and verifying: base/crypto/internal/AsymmetricKeyAccess.h.
  friend struct AsymmetricKeyAccess;

  string mErrorMessage;
  unique_ptr<Handle> mHandle;
};

}  // namespace qx
