#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// A second opinion on JSON, written for plainness alone: one character after the other, by the grammar. What the
/// library's reader does must agree with it.
namespace jsonoracle {

/// Whether the text is valid JSON with an object or an array outermost, at most `maxLevels` deep, and UTF-8.
bool IsValid(std::string_view text, size_t maxLevels = 1000);

/// The text without the white space between its tokens; the text must be valid.
std::string Compacted(std::string_view text);

}  // namespace jsonoracle
