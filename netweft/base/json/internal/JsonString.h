#pragma once

#include "netweft/base/system/qxTypes.h"

#include <string_view>

namespace qx::json {

class JsonOutput;

/// Replaces `out` by what the inside of a JSON string (without its quotes) means. False when an escape is malformed.
/// The inside must be valid UTF-8 without raw control characters and must not end within an escape.
///
/// Two escapes of a surrogate pair make one character; a surrogate without its other half is kept as the three bytes
/// that UTF-8 would give it.
bool UnescapeJsonString(std::string_view inside, string& out);

/// Append the text as the inside of a JSON string. Only what must be escaped is, in its shortest form. The three bytes
/// of a surrogate become its escape; those of both halves of a pair, one behind the other, become the character that
/// they mean, since that is what a reader makes of their escapes. Any other byte that is not part of UTF-8 becomes
/// U+FFFD.
void AppendJsonString(std::string_view text, string& out);
void PutJsonString(std::string_view text, JsonOutput& out);

/// The count of bytes that they append.
uint64 JsonStringSize(std::string_view text);

}  // namespace qx::json
