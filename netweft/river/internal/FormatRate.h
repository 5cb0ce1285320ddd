#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::couch {

/// Things per second with three decimals, for a log line: `count` in `elapsedMs` milliseconds, of which at least one.
string FormatRate(uint64 count, int64 elapsedMs);

}  // namespace qx::couch
