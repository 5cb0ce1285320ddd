#pragma once

#include "netweft/river/internal/CdbRev.h"
#include "netweft/river/internal/DocumentId.h"

namespace qx::couch {

/// What is to be done about a change.
enum ChangeAction : int32 {
  CA_Pending = 0,  ///< not decided: the document has not been looked at
  CA_Index = 1,    ///< index `body`
  CA_Skip = 2,     ///< nothing to do
  CA_Delete = 3,   ///< delete by id
};

/// One change of a database on its way to the indexes. It moves and is not copied; 80 bytes beside what it owns.
struct ChangeRecord {
  static constexpr uint64 sSeqMask = 0x7fffffffffffffffULL;

  /// The document, byte for byte as the feed named it, a NUL inside included.
  DocumentId id;
  /// The revision that the feed named.
  CdbRev rev;
  /// The feed's sequence number in the lower 63 bits, and in the top bit whether the change is a deletion.
  uint64 seqAndDeleted = 0;
  ChangeAction action = CA_Pending;
  /// Bytes that this change adds to a bulk body; 0 while it is not decided.
  uint64 commandBytes = 0;
  /// The document's JSON text once it is fetched.
  bytes body;

  uint64 getSeq() const noexcept { return seqAndDeleted & sSeqMask; }
  bool isDeleted() const noexcept { return (seqAndDeleted & ~sSeqMask) != 0; }

  /// Each leaves the other part of the word alone.
  void setSeq(uint64 seq) noexcept { seqAndDeleted = (seqAndDeleted & ~sSeqMask) | (seq & sSeqMask); }
  void setDeleted(bool deleted) noexcept { seqAndDeleted = (seqAndDeleted & sSeqMask) | (deleted ? ~sSeqMask : 0); }
};

static_assert(sizeof(void*) != 8 || sizeof(ChangeRecord) == 80);

}  // namespace qx::couch
