#include "netweft/base/system/internal/NumberText.h"

#include "netweft/base/system/internal/AsciiText.h"
#include "netweft/base/system/qxStringUtils.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace qx::impl {
namespace {

constexpr int64 sMax = std::numeric_limits<int64>::max();
constexpr int64 sMin = std::numeric_limits<int64>::min();

int64 Clamped(bool negative) noexcept { return negative ? sMin : sMax; }

std::string_view Mantissa(std::string_view literal) noexcept { return literal.substr(0, literal.find_first_of("eE")); }

/// Saturates far beyond any count of digits that a text can have.
int64 Exponent(std::string_view literal) noexcept {
  const size_t mark = literal.find_first_of("eE");
  if (mark == std::string_view::npos) return 0;
  std::string_view digits = literal.substr(mark + 1);
  if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
  int64 exponent = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
  constexpr int64 limit = sMax / 4;
  if (result.ec == std::errc::result_out_of_range) return digits.front() == '-' ? -limit : limit;
  return std::clamp(exponent, -limit, limit);
}

/// The digits of a mantissa one after the other, then zeros.
class DigitReader {
 public:
  explicit DigitReader(std::string_view mantissa) noexcept : mRest(mantissa) {}

  uint64 next() noexcept {
    while (!mRest.empty() && !IsDigit(mRest.front())) mRest.remove_prefix(1);
    if (mRest.empty()) return 0;
    const uint64 digit = static_cast<uint64>(mRest.front() - '0');
    mRest.remove_prefix(1);
    return digit;
  }

 private:
  std::string_view mRest;
};

}  // namespace

double LiteralToDouble(const string& literal) noexcept {
#if defined(_WIN32)
  return _strtod_l(literal.c_str(), nullptr, static_cast<_locale_t>(qxCLocaleHandle(qxStringUtils::msCLocale)));
#else
  return strtod_l(literal.c_str(), nullptr, qxStringUtils::msCLocale);
#endif
}

int64 TruncateLiteral(std::string_view literal) noexcept {
  const bool negative = !literal.empty() && literal.front() == '-';
  if (!IsLiteralNonZero(literal)) return 0;
  const std::string_view mantissa = Mantissa(literal);
  const auto wholeDigits = static_cast<int64>(mantissa.substr(0, mantissa.find('.')).size()) - (negative ? 1 : 0);
  const uint64 limit = static_cast<uint64>(sMax) + (negative ? 1 : 0);
  DigitReader digits(mantissa);
  uint64 value = 0;
  for (int64 left = wholeDigits + Exponent(literal); left > 0; --left) {
    const uint64 digit = digits.next();
    if (value > (limit - digit) / 10) return Clamped(negative);
    value = value * 10 + digit;
  }
  return negative ? static_cast<int64>(uint64{0} - value) : static_cast<int64>(value);
}

bool IsLiteralNonZero(std::string_view literal) noexcept {
  return Mantissa(literal).find_first_of("123456789") != std::string_view::npos;
}

int64 TruncateDouble(double value) noexcept {
  constexpr double limit = 9223372036854775808.0;
  if (std::isnan(value)) return 0;
  if (value >= limit) return sMax;
  if (value < -limit) return sMin;
  return static_cast<int64>(value);
}

string DoubleToText(double value) {
  char text[32];
  return string(text, std::to_chars(text, text + sizeof(text), value).ptr);
}

int64 DecimalTextToInteger(std::string_view text) noexcept {
  text = Trimmed(text);
  if (text.size() > 1 && text.front() == '+' && text[1] != '-') text.remove_prefix(1);
  int64 value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  return result.ec == std::errc() && result.ptr == end ? value : 0;
}

}  // namespace qx::impl
