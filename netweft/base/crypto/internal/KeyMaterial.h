#pragma once

#include "netweft/base/crypto/internal/OpenSslHandles.h"
#include "netweft/base/system/qxTypes.h"

/// Where keys come from.
namespace qx::impl {

/// A key as it was found: `error` is empty exactly when `pkey` is there.
struct KeyMaterial {
  EvpPkeyPtr pkey;
  bool isPrivate = false;
  string error;
};

/// No key, for this reason.
KeyMaterial RefuseKey(string error);

/// The first key of a PEM text, which must be of that type ("RSA" or "EC"): PKCS#8, PKCS#1, SEC1 or a public key.
/// Encrypted ones are refused, and nobody is asked for a password.
KeyMaterial LoadPemKey(const string& pem, const char* type);

/// A public key of that type out of its parameters.
KeyMaterial BuildPublicKey(const char* type, OSSL_PARAM_BLD& parameters);

/// Unsigned and big-endian; null when it is longer than the numbers of any key that is accepted.
BigNumberPtr ToBigNumber(const bytes& bigEndian);

/// One of a key's numbers, by its name in OpenSSL; null when there is none.
BigNumberPtr GetBigNumber(const EVP_PKEY& key, const char* name);

}  // namespace qx::impl
