#pragma once

#include "netweft/base/system/qxVariant.h"

#include <optional>
#include <string_view>

/// What the JSON tests share.
namespace qx::json {

/// Reads the text, an object or an array, and writes it again; nothing when it was refused. The reader gets a heap
/// block of exactly the text's size, so that a sanitizer sees a read behind it.
std::optional<string> Rewritten(std::string_view text);

/// The only element of a list text: `ReadElement("1")` reads "[1]". Nothing when it was refused.
std::optional<qxVariant> ReadElement(std::string_view element);

/// The element's text when it is written again; nothing when it was refused.
std::optional<string> RewrittenElement(std::string_view element);

string Repeated(std::string_view text, size_t count);

}  // namespace qx::json
