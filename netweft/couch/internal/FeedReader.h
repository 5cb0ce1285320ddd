#pragma once

#include "netweft/couch/internal/DbListenRecord.h"

namespace qx::couch {

/// Takes the next bytes of a feed that listens: acts on the lines that end in them, and takes line feeds alone as the
/// server's sign of life. False when the transfer is to end: the feed waits for its retry now, its callback threw, or
/// it was stopped. Throws what `ReadServerEvent` throws.
bool ReadFeed(DbListenRecord& record, const char* data, size_t n);

}  // namespace qx::couch
