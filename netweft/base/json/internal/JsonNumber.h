#pragma once

#include "netweft/base/system/qxVariant.h"

#include <string_view>

namespace qx::json {

/// Makes `value` the number that the token spells: an integer when it is digits alone, behind a minus or not, and in
/// the signed 64-bit range; otherwise a number that keeps its literal text. False when the token is not a JSON number.
/// "-0" is the integer 0.
bool ReadJsonNumber(std::string_view token, qxVariant& value);

/// Append the shortest decimal text that reads back to the same value, in the form of a JSON number. A double that is
/// not finite is `null`, since JSON has no text for it.
void AppendJsonInteger(int64 value, string& out);
void AppendJsonDouble(double value, string& out);

}  // namespace qx::json
