#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx::jwt {

/// The value of an OAuth "scope" parameter: the tags, without the white space at their ends, with one blank between
/// them; empty ones are left out. What a scope may not hold (blanks, quotation marks, backslashes, control characters,
/// all beyond ASCII) is percent-escaped; "%" itself is not, so that escaping cannot be undone for certain. A tag that
/// is not UTF-8 is logged and left out. Any thread.
NETWEFT_EXPORT string StringListToScope(const vector<string>& tags);

}  // namespace qx::jwt
