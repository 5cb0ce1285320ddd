#pragma once

#include "netweft/river/IndexDefinition.h"

namespace qx::couch {

/// What the manager keeps for one index. Lives in the manager's map of databases, under the manager's lock.
struct IndexEntry {
  IndexDefinition definition;

  /// Identifies the physical creation of the index that the manager works with; empty until it has been read.
  string creationDescriptor;

  /// The feed sequence up to which the index is known to be filled; 0 when nothing is known.
  uint64 lastRefreshSeq = 0;
};

}  // namespace qx::couch
