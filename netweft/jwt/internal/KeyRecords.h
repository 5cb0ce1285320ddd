#pragma once

#include "netweft/base/crypto/AsymmetricKey.h"

namespace qx::jwt {

/// What a key set said of one key identifier: a key, or why there is none.
struct KeyRecord {
  shared_ptr<AsymmetricKey> key;  ///< null for a rejected one
  int32 allowedAlgs = 0;          ///< mask of `Alg`
  int64 fetchedAtSec = 0;         ///< `GetTimeBaseSec` when the record was made
  string rejection;               ///< empty for a usable key
};

/// The records of a key store, by identifier and by age. A record is made once and never renewed: an identifier that
/// comes again keeps what it has until its lifetime is over. No lock; times are `GetTimeBaseSec`.
class KeyRecords {
 public:
  static constexpr int64 sLifetimeSec = 43200;

  /// Null when there is none, or none whose age is within the lifetime. Valid until the record is cleared.
  const KeyRecord* findFresh(const string& kid, int64 nowSec) const;

  /// Removes records from the front of the order of age until one is within its lifetime. What an identifier's return
  /// has moved behind younger ones waits there for its turn, and is found by nobody meanwhile.
  void clearExpired(int64 nowSec);

  /// An identifier that has come again: its record, fresh or not, goes to the end of the order as it is. False when
  /// there is none.
  bool moveToEnd(const string& kid);

  /// A new record at the end of the order. Of an identifier that is there already the old one stays where it is.
  void add(const string& kid, KeyRecord record);

  size_t size() const { return mByAge.size(); }

 private:
  struct Entry;
  using ByAge = list<Entry>;
  using ById = map<string, ByAge::iterator>;
  struct Entry {
    KeyRecord record;
    ById::iterator place;
  };

  ByAge mByAge;
  ById mById;
};

}  // namespace qx::jwt
