#pragma once

#include "netweft/base/crypto/AsymmetricKey.h"

namespace qx {

/// An RSA key. Refused with `hasError`: a modulus that is even, or under 2,048 or over 16,384 bits; an exponent that is
/// even or under 3 (with an exponent of 1 forged signatures would verify).
class NETWEFT_EXPORT RSAKey final : public AsymmetricKey {
 public:
  /// A public key from big-endian modulus and exponent.
  RSAKey(const bytes& n, const bytes& e);
  /// A key from PEM text: PKCS#8, PKCS#1 or a public key; a private key can sign. Encrypted PEM is refused.
  explicit RSAKey(const string& pem);
  ~RSAKey() override;

  /// `AK_Rsa`.
  Kind getKind() const noexcept override { return AK_Rsa; }
};

}  // namespace qx
