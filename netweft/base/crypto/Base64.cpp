#include "netweft/base/crypto/Base64.h"

#include <array>

namespace qx {

namespace {

using Alphabet = std::array<char, 64>;
using Values = std::array<signed char, 256>;

constexpr Alphabet MakeAlphabet(char last, char afterLast) {
  Alphabet alphabet{};
  size_t next = 0;
  for (char c = 'A'; c <= 'Z'; ++c) alphabet[next++] = c;
  for (char c = 'a'; c <= 'z'; ++c) alphabet[next++] = c;
  for (char c = '0'; c <= '9'; ++c) alphabet[next++] = c;
  alphabet[next++] = last;
  alphabet[next] = afterLast;
  return alphabet;
}

constexpr Values MakeValues(const Alphabet& alphabet) {
  Values values{};
  for (signed char& value : values) value = -1;
  signed char next = 0;
  for (const char c : alphabet) values[static_cast<unsigned char>(c)] = next++;
  return values;
}

constexpr Alphabet kStandard = MakeAlphabet('+', '/');
constexpr Alphabet kUrlSafe = MakeAlphabet('-', '_');
constexpr Values kStandardValues = MakeValues(kStandard);
constexpr Values kUrlSafeValues = MakeValues(kUrlSafe);

bool IsKnown(Base64CharSet charSet) { return charSet >= B64_Standard && charSet <= B64_UrlSafeBare; }
bool IsUrlSafe(Base64CharSet charSet) { return (charSet & B64_UrlSafe) != 0; }
bool IsPadded(Base64CharSet charSet) { return (charSet & B64_StandardBare) == 0; }

/// The number of characters in front of the padding; false when the padding is wrong.
bool MeasureDigits(const char* text, uint64 n, Base64CharSet charSet, uint64& digits) {
  digits = n;
  if (IsPadded(charSet)) {
    if (n % 4 != 0) return false;
    // Two at most: a third is left to the alphabet, which has no '='.
    for (int i = 0; i < 2 && digits > 0 && text[digits - 1] == '='; ++i) --digits;
  }
  // A single character carries no whole byte.
  return digits % 4 != 1;
}

bool DecodeDigits(const char* text, uint64 digits, const Values& values, bytes& out) {
  out.reserve(digits / 4 * 3 + 2);
  uint32 pending = 0;
  unsigned int bits = 0;
  for (uint64 i = 0; i < digits; ++i) {
    const int value = values[static_cast<unsigned char>(text[i])];
    if (value < 0) return false;
    pending = pending << 6 | static_cast<uint32>(value);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    out.push_back(static_cast<char>(pending >> bits & 0xFF));
    pending &= (1U << bits) - 1;
  }
  return pending == 0;
}

}  // namespace

bool base64Encode(const char* data, uint64 n, string& out, Base64CharSet charSet) {
  if (!IsKnown(charSet)) return false;
  const Alphabet& alphabet = IsUrlSafe(charSet) ? kUrlSafe : kStandard;
  string text;
  text.reserve((n + 2) / 3 * 4);
  uint32 pending = 0;
  unsigned int bits = 0;
  for (uint64 i = 0; i < n; ++i) {
    pending = (pending << 8 | static_cast<unsigned char>(data[i])) & 0xFFFF;
    for (bits += 8; bits >= 6; bits -= 6) text += alphabet[pending >> (bits - 6) & 0x3F];
  }
  if (bits != 0) text += alphabet[pending << (6 - bits) & 0x3F];
  while (IsPadded(charSet) && text.size() % 4 != 0) text += '=';
  out.swap(text);
  return true;
}

bool base64Decode(const char* text, uint64 n, bytes& out, Base64CharSet charSet) {
  bytes result;
  uint64 digits = 0;
  const bool good = IsKnown(charSet) && MeasureDigits(text, n, charSet, digits) &&
                    DecodeDigits(text, digits, IsUrlSafe(charSet) ? kUrlSafeValues : kStandardValues, result);
  if (!good) result.clear();
  out.swap(result);
  return good;
}

bool base64Decode(const string& text, bytes& out, Base64CharSet charSet) {
  return base64Decode(text.data(), text.size(), out, charSet);
}

}  // namespace qx
