#include "netweft/base/system/qxStringUtils.h"

#include "netweft/base/system/internal/AsciiText.h"
#include "netweft/base/system/internal/Charset.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace qx {
namespace {

template <class Integer>
string Decimal(Integer value, int minWidth) {
  char digits[24] = {};
  const char* end = std::to_chars(digits, digits + sizeof(digits), value).ptr;
  const bool negative = digits[0] == '-';
  string text(static_cast<const char*>(digits) + (negative ? 1 : 0), end);
  const size_t width = minWidth > 0 ? static_cast<size_t>(minWidth) : 0;
  if (text.size() < width) text.insert(0, width - text.size(), '0');
  if (negative) text.insert(0, 1, '-');
  return text;
}

template <class Sink>
void CutInto(std::string_view text, char separator, bool keepEmpty, const Sink& add) {
  for (;;) {
    const size_t cut = text.find(separator);
    const std::string_view piece = text.substr(0, cut);
    if (keepEmpty || !piece.empty()) add(piece);
    if (cut == std::string_view::npos) return;
    text.remove_prefix(cut + 1);
  }
}

/// -1 for what is not a digit.
int HexDigit(char c) {
  if (impl::IsDigit(c)) return c - '0';
  const char lower = impl::Lower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

constexpr bool IsDashPlace(size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

void CleanseBuffer(string& secret) {
  secret.resize(secret.capacity());
  OPENSSL_cleanse(secret.data(), secret.size());
}

#if defined(_WIN32)
qxCLocaleHandle MakeCLocale() { return _create_locale(LC_ALL, "C"); }
int64 StringToInt64(const char* text, char** end, int base) { return std::strtoll(text, end, base); }
#else
qxCLocaleHandle MakeCLocale() { return newlocale(LC_ALL_MASK, "C", nullptr); }
int64 StringToInt64(const char* text, char** end, int base) {
  return strtoll_l(text, end, base, qxStringUtils::msCLocale);
}
#endif

}  // namespace

qxCLocale::operator qxCLocaleHandle() const noexcept {
  static const qxCLocaleHandle handle = MakeCLocale();
  return handle;
}

constinit const qxCLocale qxStringUtils::msCLocale{};

/// Before all static objects of other files, which may use it while they are made.
__attribute__((init_priority(101))) const std::locale qxStringUtils::msCplusLocale = std::locale::classic();

string& qxStringUtils::trim(string& text) {
  const std::string_view kept = impl::Trimmed(text);
  if (!kept.empty()) text.erase(0, static_cast<size_t>(kept.data() - text.data()));
  text.resize(kept.size());
  return text;
}

void qxStringUtils::toLower(string& text) { std::transform(text.begin(), text.end(), text.begin(), impl::Lower); }

void qxStringUtils::toUpper(string& text) { std::transform(text.begin(), text.end(), text.begin(), impl::Upper); }

bool qxStringUtils::StartsWith(const string& text, const string& prefix) { return text.starts_with(prefix); }

bool qxStringUtils::Contains(const string& text, const string& part, bool caseSensitive) {
  if (caseSensitive) return text.find(part) != string::npos;
  const auto same = [](char a, char b) { return impl::Lower(a) == impl::Lower(b); };
  return part.empty() || std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

list<string> qxStringUtils::Split(const string& text, char separator, bool keepEmpty) {
  list<string> pieces;
  CutInto(text, separator, keepEmpty, [&pieces](std::string_view piece) { pieces.emplace_back(piece); });
  return pieces;
}

void qxStringUtils::Split(const string& text, char separator, vector<string>& out, bool keepEmpty) {
  CutInto(text, separator, keepEmpty, [&out](std::string_view piece) { out.emplace_back(piece); });
}

string qxStringUtils::fromInt(int value, int minWidth) { return Decimal(value, minWidth); }

string qxStringUtils::fromInt64(int64 value, int minWidth) { return Decimal(value, minWidth); }

string qxStringUtils::fromUInt(unsigned int value, int minWidth) { return Decimal(value, minWidth); }

string qxStringUtils::fromUInt64(uint64 value, int minWidth) { return Decimal(value, minWidth); }

bool qxStringUtils::ParseInt64(const string& text, int base, int64& out) {
  const int previousError = std::exchange(errno, 0);
  char* end = nullptr;
  const int64 value = StringToInt64(text.c_str(), &end, base);
  const int error = std::exchange(errno, previousError);
  if (error != 0 || end == text.c_str() || end != text.c_str() + text.size()) return false;
  out = value;
  return true;
}

void qxStringUtils::ToHex(const char* data, uint64 n, string& out) {
  constexpr char digits[] = "0123456789abcdef";
  string text;
  text.reserve(static_cast<size_t>(n) * 2);
  for (const char byte : std::string_view(data, static_cast<size_t>(n))) {
    text += digits[static_cast<unsigned char>(byte) >> 4];
    text += digits[static_cast<unsigned char>(byte) & 0xF];
  }
  out = std::move(text);
}

bool qxStringUtils::UUIDToBinary(const string& text, unsigned char* out) {
  const bool dashed = text.size() == 36;
  if (!dashed && text.size() != 32) return false;
  unsigned char binary[16] = {};
  size_t digits = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (dashed && IsDashPlace(i)) {
      if (text[i] != '-') return false;
      continue;
    }
    const int digit = HexDigit(text[i]);
    if (digit < 0) return false;
    unsigned char& byte = binary[digits++ / 2];
    byte = static_cast<unsigned char>(byte << 4 | digit);
  }
  std::memcpy(out, binary, sizeof(binary));
  return true;
}

void qxStringUtils::SecureClear(string& secret) {
  CleanseBuffer(secret);
  if (secret.capacity() > string().capacity()) {
    // A short text may have stood in the string object itself before it grew onto the heap.
    string().swap(secret);
    CleanseBuffer(secret);
  }
  secret.clear();
}

string qxStringUtils::convertCharset(const string& text, qxCharSet from, qxCharSet to) {
  return convertTo8Bits(convertToUnicode(text, from), to);
}

std::wstring qxStringUtils::convertToUnicode(const string& text, qxCharSet from) {
  return impl::BytesToWide(text, from);
}

string qxStringUtils::convertTo8Bits(const std::wstring& text, qxCharSet to) { return impl::WideToBytes(text, to); }

}  // namespace qx
