#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// A duration in milliseconds as the text of a log line: days, hours, minutes, seconds and milliseconds ("d", "h",
/// "m", "s", "ms"), from the highest that is not zero down to the lowest that `mode` shows, as in "1m 5s".
///
/// `mode` 1 shows down to minutes from an hour up, down to seconds from a minute up, and everything below a minute; 2
/// shows minutes and above alone; any other mode shows everything. Components that are zero at the low end are left
/// out. With `withTotal`, and a value of a second or more, " (<total>ms)" follows. Nothing to print gives "0ms".
NETWEFT_EXPORT string FormatDuration(int64 ms, int mode, bool withTotal);

}  // namespace qx
