#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::elasticsearch {

/// Undoes the escapes of the inside of a JSON string, [begin, end), into [outBegin, outEnd). Gives the end of what was
/// written, or null with the reason in `*error` unless that is null; a success empties it.
///
/// The output must be at least as large as the input. The two ranges may be the very same one and must not overlap
/// otherwise. Surrogates written as escapes are refused, pairs of them too. An escaped NUL becomes a NUL byte. What is
/// written before a failure is left there.
char* json_to_utf8(const char* begin, const char* end, char* outBegin, char* outEnd, string* error);

}  // namespace qx::elasticsearch
