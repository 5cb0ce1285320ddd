#pragma once

#include "netweft/base/system/qxVariant.h"

#include <string_view>

namespace qx::json {

/// Makes `value` the number that the token spells: an integer when it is digits alone, behind a minus or not, and in
/// the signed 64-bit range; otherwise a number that keeps its literal text. False when the token is not a JSON number.
/// "-0" is the integer 0.
bool ReadJsonNumber(std::string_view token, qxVariant& value);

/// The shortest decimal text that reads back to the same value, in the form of a JSON number; "null" when the double is
/// not finite, since JSON has no text for it.
string JsonDoubleText(double value);

}  // namespace qx::json
