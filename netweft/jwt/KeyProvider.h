#pragma once

#include "netweft/base/crypto/AsymmetricKey.h"
#include "netweft/jwt/Alg.h"

namespace qx::jwt {

/// Where a `Verifier` finds the public key of a signed token. Implemented by the key stores, and by hosts with stores
/// of their own. Whether several threads may ask at once is each implementation's word; a `Verifier` takes no lock.
class NETWEFT_EXPORT KeyProvider {
 public:
  /// The key that the token's header calls `kid` (which may be empty, and is a stranger's text), for one algorithm.
  /// Null when there is none that may be used; `error`, if not null, then holds the reason, a line for the log. The
  /// caller shares the key, which lives on when the provider drops it meanwhile.
  virtual shared_ptr<AsymmetricKey> getKeyFromId(const string& kid, Alg alg, string* error) = 0;

 protected:
  // Nobody deletes a provider through this class: the destructor is not in the table of virtual operations.
  KeyProvider() = default;
  /// What a copy shares is each implementation's word.
  KeyProvider(const KeyProvider&) = default;
  KeyProvider& operator=(const KeyProvider&) = default;
  ~KeyProvider() = default;
};

}  // namespace qx::jwt
