#pragma once

#include "netweft/base/system/NetweftExport.h"

namespace qx {

/// Start and end of use of the compression library. They nest, cannot fail, and need no lock against each other only
/// because `initializeNetweft` makes both calls on one thread.
NETWEFT_EXPORT void initializeCompress();
NETWEFT_EXPORT void terminateCompress();

}  // namespace qx
