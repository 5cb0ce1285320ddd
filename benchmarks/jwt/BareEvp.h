#pragma once

#include "netweft/base/crypto/internal/OpenSslHandles.h"
#include "netweft/jwt/Alg.h"

/// The least that one can ask of the crypto library: algorithms fetched once, contexts kept, no token around it.
namespace qx::jwt::benchmarks {

class BareEvp {
 public:
  explicit BareEvp(Alg alg);

  /// The HMAC of a text; the count of bytes.
  size_t computeMac(const string& text);
  /// DER for a curve.
  size_t sign(const string& text);
  bool verify(const string& text);

 private:
  using PkeyPtr = impl::EvpPkeyPtr;

  impl::EvpMdPtr mDigest;
  impl::EvpMacCtxPtr mMac;
  PkeyPtr mKey;
  impl::EvpPkeyCtxPtr mSigner;
  impl::EvpPkeyCtxPtr mVerifier;
  unsigned char mSignature[512];
  size_t mSize = 0;
};

}  // namespace qx::jwt::benchmarks
