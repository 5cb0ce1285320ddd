#include "netweft/elasticsearch/internal/JsonToUtf8.h"

#include <utf8.h>

#include <functional>

namespace qx::elasticsearch {

namespace {

class InvalidEscape final : public std::exception {
 public:
  const char* what() const noexcept override { return "Invalid escape sequence"; }
};

/// Empty ranges have no byte to share.
bool Overlap(const char* begin, const char* end, const char* otherBegin, const char* otherEnd) {
  const std::less<> before;
  return begin != end && otherBegin != otherEnd && before(begin, otherEnd) && before(otherBegin, end);
}

/// Null when the ranges can be used.
const char* FindRangeError(const char* begin, const char* end, const char* outBegin, const char* outEnd) {
  const bool same = begin == outBegin && end == outEnd;
  if (!same && Overlap(begin, end, outBegin, outEnd)) return "Invalid pointers";
  if (outEnd - outBegin < end - begin) return "Output buffer is too small";
  return nullptr;
}

/// Reads what belongs to an escape, where the end of the input is no end of a sequence but a broken escape.
char32_t NextOfEscape(const char*& it, const char* end) {
  if (it == end) throw InvalidEscape();
  return static_cast<char32_t>(utf8::next(it, end));
}

char32_t HexValue(char32_t digit) {
  if (digit >= U'0' && digit <= U'9') return digit - U'0';
  if (digit >= U'a' && digit <= U'f') return digit - U'a' + 10;
  if (digit >= U'A' && digit <= U'F') return digit - U'A' + 10;
  throw InvalidEscape();
}

char32_t ReadFourDigits(const char*& it, const char* end) {
  char32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value * 16 + HexValue(NextOfEscape(it, end));
  return value;
}

char32_t ReadEscape(const char*& it, const char* end) {
  switch (NextOfEscape(it, end)) {
    case U'"': return U'"';
    case U'/': return U'/';
    case U'\\': return U'\\';
    case U'b': return U'\b';
    case U'f': return U'\f';
    case U'n': return U'\n';
    case U'r': return U'\r';
    case U't': return U'\t';
    case U'u': return ReadFourDigits(it, end);
    default: throw InvalidEscape();
  }
}

/// Never writes further than it has read, so the two may share one range.
char* Convert(const char* it, const char* end, char* out) {
  while (it != end) {
    char32_t codePoint = static_cast<char32_t>(utf8::next(it, end));
    if (codePoint == U'\\') codePoint = ReadEscape(it, end);
    out = utf8::append(codePoint, out);
  }
  return out;
}

}  // namespace

char* json_to_utf8(const char* begin, const char* end, char* outBegin, char* outEnd, string* error) {
  if (error != nullptr) error->clear();
  const char* failure = FindRangeError(begin, end, outBegin, outEnd);
  try {
    if (failure == nullptr) return Convert(begin, end, outBegin);
    if (error != nullptr) *error = failure;
  } catch (const InvalidEscape& e) {
    if (error != nullptr) *error = e.what();
  } catch (const utf8::exception& e) {
    if (error != nullptr) *error = e.what();
  }
  return nullptr;
}

}  // namespace qx::elasticsearch
