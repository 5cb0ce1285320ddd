#include "netweft/base/crypto/Base64.h"

#include <array>

namespace qx {

namespace {

using Alphabet = std::array<char, 64>;
using Values = std::array<unsigned char, 256>;

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

/// The value of a character that is no digit: the one bit that no digit has.
constexpr unsigned char kNoDigit = 0x80;

constexpr Values MakeValues(const Alphabet& alphabet) {
  Values values{};
  values.fill(kNoDigit);
  unsigned char next = 0;
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

uint32 ByteOf(const char* text) { return static_cast<unsigned char>(*text); }

/// Four digits of which none is missing, as 24 bits; negative when one is no digit.
int DecodeGroup(const char* text, const Values& values) {
  const int a = values[ByteOf(text)];
  const int b = values[ByteOf(text + 1)];
  const int c = values[ByteOf(text + 2)];
  const int d = values[ByteOf(text + 3)];
  return ((a | b | c | d) & kNoDigit) != 0 ? -1 : a << 18 | b << 12 | c << 6 | d;
}

/// The two or three digits behind the last whole group, whose left-over bits must be 0.
bool DecodeTail(const char* text, uint64 digits, const Values& values, char* out) {
  const char group[4] = {text[0], text[1], digits == 3 ? text[2] : 'A', 'A'};
  const int bits = DecodeGroup(group, values);
  const int unused = digits == 3 ? 0xFF : 0xFFFF;
  if (bits < 0 || (bits & unused) != 0) return false;
  *out++ = static_cast<char>(bits >> 16);
  if (digits == 3) *out = static_cast<char>(bits >> 8 & 0xFF);
  return true;
}

bool DecodeDigits(const char* text, uint64 digits, const Values& values, bytes& out) {
  const uint64 tail = digits % 4;
  out.resize(digits / 4 * 3 + (tail == 0 ? 0 : tail - 1));
  char* to = out.data();
  for (const char* end = text + (digits - tail); text != end; text += 4, to += 3) {
    const int bits = DecodeGroup(text, values);
    if (bits < 0) return false;
    to[0] = static_cast<char>(bits >> 16);
    to[1] = static_cast<char>(bits >> 8 & 0xFF);
    to[2] = static_cast<char>(bits & 0xFF);
  }
  return tail == 0 || DecodeTail(text, tail, values, to);
}

void EncodeGroup(uint32 bits, const Alphabet& alphabet, char* out) {
  out[0] = alphabet[bits >> 18];
  out[1] = alphabet[bits >> 12 & 0x3F];
  out[2] = alphabet[bits >> 6 & 0x3F];
  out[3] = alphabet[bits & 0x3F];
}

}  // namespace

bool base64Encode(const char* data, uint64 n, string& out, Base64CharSet charSet) {
  if (!IsKnown(charSet)) return false;
  const Alphabet& alphabet = IsUrlSafe(charSet) ? kUrlSafe : kStandard;
  const uint64 tail = n % 3;
  string text((n + 2) / 3 * 4, '=');
  char* to = text.data();
  for (const char* end = data + (n - tail); data != end; data += 3, to += 4) {
    EncodeGroup(ByteOf(data) << 16 | ByteOf(data + 1) << 8 | ByteOf(data + 2), alphabet, to);
  }
  if (tail != 0) {
    EncodeGroup(ByteOf(data) << 16 | (tail == 2 ? ByteOf(data + 1) << 8 : 0), alphabet, to);
    for (uint64 i = tail + 1; i < 4; ++i) to[i] = '=';
    if (!IsPadded(charSet)) text.resize(text.size() - (3 - tail));
  }
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
