#pragma once

#include "netweft/frame/Policies.h"
#include "netweft/jwt/KeyProvider.h"

namespace qx {
class Url;
}

namespace qx::http {
class HttpConnectionPool;
}

namespace qx::jwt {

/// The keys of a JSON Web Key Set that lies behind a URL. It is fetched with a connection from a pool when a key is
/// wanted that is not there, and each key lives for twelve hours (43200 seconds) from the fetch that first brought it.
///
/// What that means for a host:
/// - A key that the set no longer holds is accepted until its twelve hours are over, and so is the old key of an
/// identifier
///   whose key was exchanged: rotate keys under new identifiers. A rejected identifier stays rejected as long.
/// - A later fetch never renews a key. It can delay the clearing of one that is over its time, and until then
///   that identifier has no key.
/// - Every look-up of an identifier that the set does not hold is one request to the server, however often it comes:
///   whoever can send tokens can cause requests.
/// - The set's size is not limited, and a redirect may lead from https to http: point it at a server that you trust.
/// - Keys for checking signatures alone are taken: "use" must be "sig" or "key_ops" the text "verify".
///
/// No lock, and each look-up writes: a host that shares a store between threads guards it with a lock of its own. A
/// fetch blocks its caller as long as the default `ConnectionParameters` let it.
///
/// A copy is an alias of the same keys with no count kept: exactly one of the copies may be destroyed, after which
/// none may be used. Assignment leaks what the target had, unless an alias holds it.
class NETWEFT_EXPORT KeyStore final : public KeyProvider {
 public:
  /// Fetches nothing yet. The pool stays the caller's and must outlive the store. `verifyPeer` false accepts any
  /// certificate, which hands the choice of keys to whoever sits between. `manualProxyUrl` counts only under
  /// `PP_ManualProxy`.
  KeyStore(http::HttpConnectionPool& pool, const qx::Url& keySetUrl, bool verifyPeer, http::ProxyPolicy proxyPolicy,
           const qx::Url& manualProxyUrl);
  /// Make an alias: see above.
  KeyStore(const KeyStore& other) noexcept;
  KeyStore& operator=(const KeyStore& other) noexcept;
  ~KeyStore();

  /// Drops the keys that are over their time. Every look-up does this first; it saves memory and nothing else.
  void clearExpired();

  /// The key, if it is for one of the algorithms in `alg`. Otherwise null, with one of these in `error`: "No such key
  /// {kid}" (the server's failure to answer included, which is a warning in the log), "Key {kid} ( is not meant for the
  /// algorithm " and its name, "Key {kid} is invalid : " and why it was rejected. `error` is left alone when the
  /// key is found. A look-up that finds the key allocates nothing.
  shared_ptr<AsymmetricKey> getKeyFromId(const string& kid, Alg alg, string* error) override;

 private:
  struct KeyStoreImpl;

  /// Owned by one of the aliases; which one, only the host knows.
  KeyStoreImpl* mImpl;
};

}  // namespace qx::jwt
