#pragma once

#include "netweft/base/crypto/AsymmetricKey.h"

namespace qx {

/// The curves of the JWS algorithms ES256, ES384 and ES512. The numbers are part of the binary interface.
enum EllipticCurve : int32 {
  EC_Unknown = 0,  ///< none of them
  EC_P256 = 3,     ///< of ES256
  EC_P384 = 4,     ///< of ES384
  EC_P521 = 5,     ///< of ES512
};

/// A key on one of those curves. Refused with `hasError`: an unknown curve, coordinates longer than the curve's field,
/// and a point that is not on the curve.
class NETWEFT_EXPORT EllipticCurveKey final : public AsymmetricKey {
 public:
  /// A public key from the point's big-endian coordinates; shorter ones are filled with leading zeros.
  EllipticCurveKey(EllipticCurve curve, const bytes& x, const bytes& y);
  /// A key from PEM text: PKCS#8, SEC1 or a public key; a private key can sign. Encrypted PEM is refused.
  explicit EllipticCurveKey(const string& pem);
  ~EllipticCurveKey() override;

  /// `AK_EllipticCurve`.
  Kind getKind() const noexcept override { return AK_EllipticCurve; }
  /// As given to construction or found in the PEM text.
  EllipticCurve getCurve() const noexcept { return mCurve; }

 private:
  EllipticCurve mCurve;
};

}  // namespace qx
