#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::couch {

/// A document's revision as CouchDB writes it, "12-0123456789abcdef0123456789abcdef", in 24 bytes. The default one is
/// all zero: no revision.
struct CdbRev {
  unsigned char revHash[16] = {};
  /// The part before the dash: 32 bits.
  uint64 revNumber = 0;

  /// The empty text gives a zero revision. A text that is no revision logs an error and gives what could be read of it
  /// so far (a good number before a bad hash stays): callers compare the result like any other.
  ///
  /// The number takes its base from its spelling, as C does: a leading zero reads as octal.
  static CdbRev Parse(const string& text);

  bool operator==(const CdbRev& other) const = default;
};

}  // namespace qx::couch
