#pragma once

#include <string_view>

/// ASCII alone, whatever the locale.
namespace qx::impl {

inline constexpr std::string_view sWhiteSpace = " \t\n\v\f\r";

constexpr bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr char Lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr char Upper(char c) noexcept { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

/// A view into `text` without the white space at its ends.
constexpr std::string_view Trimmed(std::string_view text) noexcept {
  const size_t first = text.find_first_not_of(sWhiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(sWhiteSpace) - first + 1);
}

constexpr bool EqualIgnoringCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

}  // namespace qx::impl
