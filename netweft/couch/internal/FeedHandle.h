#pragma once

#include "netweft/couch/internal/DbListenRecord.h"

namespace qx::couch {

/// Sets up the record's easy handle, whose header and write functions then bring their events to the record's
/// ListenMachine; what is thrown there stays in the record's exception slot. 0, or the OR of the options' results.
int SetUpFeedHandle(DbListenRecord& record, long connectTimeoutSec);

}  // namespace qx::couch
