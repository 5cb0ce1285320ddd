#pragma once

#include "netweft/base/system/qxTypes.h"

/// An ECDSA signature has two forms: the DER structure that OpenSSL makes and checks, and r and s side by side, each as
/// long as the curve's field, which a JWS carries.
namespace qx::impl {

/// False when the crypto library failed; `out` is replaced.
bool EcdsaDerToRaw(const bytes& der, size_t fieldBytes, bytes& out);
/// `raw` holds two numbers of equal length.
bool EcdsaRawToDer(const char* raw, size_t fieldBytes, bytes& out);

}  // namespace qx::impl
