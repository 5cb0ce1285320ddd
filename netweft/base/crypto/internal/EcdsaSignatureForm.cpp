#include "netweft/base/crypto/internal/EcdsaSignatureForm.h"

#include "netweft/base/crypto/internal/OpenSslHandles.h"

namespace qx::impl {

bool EcdsaDerToRaw(const bytes& der, size_t fieldBytes, bytes& out) {
  const unsigned char* cursor = ToUnsigned(der.data());
  const EcdsaSigPtr signature(d2i_ECDSA_SIG(nullptr, &cursor, static_cast<long>(der.size())));
  if (signature == nullptr) return false;
  const int length = static_cast<int>(fieldBytes);
  out.assign(2 * fieldBytes, '\0');
  return BN_bn2binpad(ECDSA_SIG_get0_r(signature.get()), ToUnsigned(out.data()), length) == length &&
         BN_bn2binpad(ECDSA_SIG_get0_s(signature.get()), ToUnsigned(out.data()) + fieldBytes, length) == length;
}

bool EcdsaRawToDer(const char* raw, size_t fieldBytes, bytes& out) {
  const int length = static_cast<int>(fieldBytes);
  BigNumberPtr r(BN_bin2bn(ToUnsigned(raw), length, nullptr));
  BigNumberPtr s(BN_bin2bn(ToUnsigned(raw) + fieldBytes, length, nullptr));
  const EcdsaSigPtr signature(ECDSA_SIG_new());
  if (r == nullptr || s == nullptr || signature == nullptr) return false;
  ECDSA_SIG_set0(signature.get(), r.release(), s.release());
  const int size = i2d_ECDSA_SIG(signature.get(), nullptr);
  if (size <= 0) return false;
  out.resize(static_cast<size_t>(size));
  unsigned char* cursor = ToUnsigned(out.data());
  return i2d_ECDSA_SIG(signature.get(), &cursor) == size;
}

}  // namespace qx::impl
