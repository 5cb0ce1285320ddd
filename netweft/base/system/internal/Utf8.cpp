#include "netweft/base/system/internal/Utf8.h"

namespace qx::impl {
namespace {

struct LeadByte {
  size_t length;  ///< 0: no sequence starts so
  unsigned char lowestSecond;
  unsigned char highestSecond;
};

/// The second byte's narrower ranges keep out overlong forms, surrogates and what lies beyond the last code point.
constexpr LeadByte Classify(unsigned char lead) noexcept {
  if (lead < 0x80) return {1, 0, 0};
  if (lead < 0xC2) return {0, 0, 0};
  if (lead < 0xE0) return {2, 0x80, 0xBF};
  if (lead == 0xE0) return {3, 0xA0, 0xBF};
  if (lead == 0xED) return {3, 0x80, 0x9F};
  if (lead < 0xF0) return {3, 0x80, 0xBF};
  if (lead == 0xF0) return {4, 0x90, 0xBF};
  if (lead < 0xF4) return {4, 0x80, 0xBF};
  if (lead == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

constexpr bool IsContinuation(char c) noexcept { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

size_t Utf8SequenceLength(std::string_view text, size_t position) noexcept {
  const LeadByte lead = Classify(static_cast<unsigned char>(text[position]));
  if (lead.length <= 1) return lead.length;
  if (text.size() - position < lead.length) return 0;
  const auto second = static_cast<unsigned char>(text[position + 1]);
  if (second < lead.lowestSecond || second > lead.highestSecond) return 0;
  for (size_t i = 2; i < lead.length; ++i) {
    if (!IsContinuation(text[position + i])) return 0;
  }
  return lead.length;
}

size_t Utf8CutLength(std::string_view text, size_t limit) noexcept {
  if (text.size() <= limit) return text.size();
  size_t cut = limit;
  // A sequence has at most three continuation bytes; more of them are no UTF-8, and cutting them tears nothing.
  for (int back = 0; back < 3 && cut > 0 && IsContinuation(text[cut]); ++back) --cut;
  return IsContinuation(text[cut]) ? limit : cut;
}

}  // namespace qx::impl
