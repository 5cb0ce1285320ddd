#pragma once

#include "netweft/base/system/qxTypes.h"

#include <string_view>

/// Numbers as text, whatever the locale. Any thread.
namespace qx::impl {

/// Nearest double of a JSON number; infinite when it is too large, 0 when it is too small.
double LiteralToDouble(const string& literal) noexcept;

/// A JSON number cut toward zero and clamped to the range; exact, however many digits it has.
int64 TruncateLiteral(std::string_view literal) noexcept;

/// True when any digit before the exponent is not zero.
bool IsLiteralNonZero(std::string_view literal) noexcept;

/// The value cut toward zero and clamped to the range; 0 when it is not a number.
int64 TruncateDouble(double value) noexcept;

/// The shortest text that reads back as the same double.
string DoubleToText(double value);

/// A decimal integer that fits, with white space around it; 0 for any other text.
int64 DecimalTextToInteger(std::string_view text) noexcept;

}  // namespace qx::impl
