#pragma once

#include "netweft/http/HttpConnection.h"
#include "netweft/river/RiverParameters.h"
#include "netweft/river/internal/DbEntry.h"

namespace qx::couch {

/// Brings every index of a database into the wanted shape, in the order of their names: keeps it, widens it in place,
/// or drops it and builds it anew.
///
/// An index describes itself in the `_meta` object of its mapping: what was asked for, from which database it is fed,
/// how far it has got, and which physical creation it is. Nothing is kept elsewhere, so a restart continues where the
/// indexes stand.
///
/// True: all stand as wanted. `*startSeq` is the feed sequence to resume from, which is the smallest that any of them
/// holds: 0 once one was created, recreated or widened, and the largest uint64 when there is no index. `descriptors`
/// has got the current creation descriptor of each, by index name, and each `IndexEntry` its `creationDescriptor` and
/// `lastRefreshSeq`.
///
/// False: the first index that failed ended the call, with an error line; those before it stay as they are, `*startSeq`
/// means nothing, and the caller tries again later. An index name that does not mean one single index fails before
/// anything is sent about it.
///
/// While `*cancelFlag` (null: none) is true, the transfer in hand ends as soon as it moves bytes, nothing more is sent,
/// and the result is false without an error line. An index that is left half made by that has no creation descriptor
/// in its `_meta` yet, and the next call builds it anew.
///
/// Runs on the control thread, which owns `connection`, under the manager's lock, which guards `entry`.
bool ensureIndexes(http::HttpConnection& connection, DbEntry& entry, const RiverParameters& parameters,
                   uint64* startSeq, map<string, string>& descriptors, const bool* cancelFlag);

}  // namespace qx::couch
