#include "netweft/base/json/internal/JsonNumber.h"

#include "netweft/base/system/internal/AsciiText.h"
#include "netweft/base/system/internal/NumberText.h"
#include "netweft/base/system/internal/qxVariantAccess.h"

#include <charconv>
#include <cmath>

namespace qx::json {

namespace {

enum class Shape { NotANumber, DigitsAlone, Other };

/// Walks over a run of digits; false when there is none.
bool SkipDigits(const char*& p, const char* end) {
  const char* const begin = p;
  while (p != end && impl::IsDigit(*p)) ++p;
  return p != begin;
}

bool SkipFraction(const char*& p, const char* end) {
  if (p == end || *p != '.') return true;
  return SkipDigits(++p, end);
}

bool SkipExponent(const char*& p, const char* end) {
  if (p == end || (*p != 'e' && *p != 'E')) return true;
  ++p;
  if (p != end && (*p == '+' || *p == '-')) ++p;
  return SkipDigits(p, end);
}

Shape Classify(std::string_view token) {
  const char* p = token.data();
  const char* const end = p + token.size();
  if (p != end && *p == '-') ++p;
  const char* const digits = p;
  if (!SkipDigits(p, end)) return Shape::NotANumber;
  if (*digits == '0' && p - digits > 1) return Shape::NotANumber;
  if (p == end) return Shape::DigitsAlone;
  return SkipFraction(p, end) && SkipExponent(p, end) && p == end ? Shape::Other : Shape::NotANumber;
}

}  // namespace

bool ReadJsonNumber(std::string_view token, qxVariant& value) {
  const Shape shape = Classify(token);
  if (shape == Shape::NotANumber) return false;
  int64 integer = 0;
  if (shape == Shape::DigitsAlone &&
      std::from_chars(token.data(), token.data() + token.size(), integer).ec == std::errc()) {
    value = integer;
  } else {
    qxVariantAccess::SetNumber(value, string(token));
  }
  return true;
}

string JsonDoubleText(double value) { return std::isfinite(value) ? impl::DoubleToText(value) : "null"; }

}  // namespace qx::json
