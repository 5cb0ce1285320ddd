#include "netweft/river/internal/FormatRate.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace qx::couch {

string FormatRate(uint64 count, int64 elapsedMs) {
  const float rate = static_cast<float>(count) * 1000.0F / static_cast<float>(std::max<int64>(1, elapsedMs));
  std::array<char, 64> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), rate, std::chars_format::fixed, 3);
  return error == std::errc() ? string(text.data(), end) : string();
}

}  // namespace qx::couch
