#pragma once

#include <bit>

#if defined(__SSE2__)
#  include <emmintrin.h>
#endif

namespace qx::json {

/// Whether the byte ends or escapes something inside a JSON string.
inline bool IsQuoteOrBackslash(char c) noexcept { return c == '"' || c == '\\'; }

/// Whether the byte opens or closes something outside a JSON string; so does a backslash, which no JSON has there. With
/// the bit set that tells lower from upper case, "[" is "{" and "]" is "}", and "\\" is "|" between them.
inline bool IsBracketOrQuote(char c) noexcept { return c == '"' || static_cast<unsigned char>((c | 0x20) - '{') <= 2; }

/// The first quote or backslash in [here, end), or `end`: where a run of plain bytes inside a JSON string stops. Many
/// bytes at a time where the processor can; nothing outside the range is read.
inline const char* FindQuoteOrBackslash(const char* here, const char* end) noexcept {
#if defined(__SSE2__)
  const __m128i quotes = _mm_set1_epi8('"');
  const __m128i backslashes = _mm_set1_epi8('\\');
  for (; end - here >= 16; here += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(here));
    const __m128i found = _mm_or_si128(_mm_cmpeq_epi8(block, quotes), _mm_cmpeq_epi8(block, backslashes));
    const auto mask = static_cast<unsigned int>(_mm_movemask_epi8(found));
    if (mask != 0) return here + std::countr_zero(mask);
  }
#endif
  while (here != end && !IsQuoteOrBackslash(*here)) ++here;
  return here;
}

/// The quote that closes the JSON string in whose text `here` stands, or `end` when it is not there any more.
inline const char* FindClosingQuote(const char* here, const char* end) noexcept {
  for (here = FindQuoteOrBackslash(here, end); here != end && *here == '\\';
       here = FindQuoteOrBackslash(here + 2, end)) {
    if (end - here <= 2) return end;
  }
  return here;
}

/// The first byte in [here, end) that `IsBracketOrQuote`, or `end`. Such runs are short.
inline const char* FindBracketOrQuote(const char* here, const char* end) noexcept {
  while (here != end && !IsBracketOrQuote(*here)) ++here;
  return here;
}

}  // namespace qx::json
