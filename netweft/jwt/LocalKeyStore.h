#pragma once

#include "netweft/jwt/KeyProvider.h"

namespace qx::jwt {

/// Keys that the host adds by hand.
///
/// No lock: looking keys up writes nothing, so several threads may do that at once while no thread adds, removes or
/// assigns. Keys are shared with whoever gave them and whoever looked them up; a copy of the store has a map of its own
/// and shares the keys.
class NETWEFT_EXPORT LocalKeyStore : public KeyProvider {
 public:
  LocalKeyStore();
  /// Shares the keys and has a map of its own.
  LocalKeyStore(const LocalKeyStore& other);
  LocalKeyStore& operator=(const LocalKeyStore& other);

  /// The key, if its mask holds every bit of `alg`. Otherwise null, with the reason in `error`:
  /// "LocalKeyStore : Unknown jwt key id " or "LocalKeyStore : Unsupported jwt alg ", and the text in question. `error`
  /// is left alone when the key is found.
  shared_ptr<AsymmetricKey> getKeyFromId(const string& kid, Alg alg, string* error) override;

  virtual ~LocalKeyStore();

  /// `allowedAlgs` is a mask of `Alg`. False, with nothing changed, for an empty `kid` and for one that is there
  /// already: to replace a key, remove it first. Nothing compares the mask with the kind of key; a mismatch shows when
  /// a token is checked.
  bool addKey(const string& kid, shared_ptr<AsymmetricKey> key, int allowedAlgs);

  /// False when there is no such key. `key` takes no part in the decision and is only released; it may be null.
  bool removeKey(const string& kid, shared_ptr<AsymmetricKey> key);

 private:
  struct Record {
    shared_ptr<AsymmetricKey> key;
    int32 allowedAlgs;
  };

  map<string, Record> mRecords;
};

}  // namespace qx::jwt
