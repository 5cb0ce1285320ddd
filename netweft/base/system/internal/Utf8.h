#pragma once

#include <cstddef>
#include <string_view>

namespace qx::impl {

/// Length in bytes of the UTF-8 sequence at `position`, which must be inside the text; 0 when it is not a valid one.
size_t Utf8SequenceLength(std::string_view text, size_t position) noexcept;

/// The largest length up to `limit` at which `text` can be cut without tearing a UTF-8 sequence.
size_t Utf8CutLength(std::string_view text, size_t limit) noexcept;

}  // namespace qx::impl
