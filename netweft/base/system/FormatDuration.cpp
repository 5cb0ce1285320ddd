#include "netweft/base/system/FormatDuration.h"

#include "netweft/base/system/qxStringUtils.h"

#include <array>

namespace qx {
namespace {

enum Component : int { Milliseconds, Seconds, Minutes, Hours, Days, ComponentCount };

constexpr std::array<const char*, ComponentCount> sUnits = {"ms", "s", "m", "h", "d"};

using Components = std::array<int64, ComponentCount>;

Components Cut(int64 ms) {
  constexpr std::array<int64, Days> sizes = {1000, 60, 60, 24};
  Components components{};
  for (size_t i = 0; i < sizes.size(); ++i) {
    components[i] = ms % sizes[i];
    ms /= sizes[i];
  }
  components[Days] = ms;
  return components;
}

/// How many components are left without the leading zeros.
int CountLeft(const Components& components) {
  int count = ComponentCount;
  while (count > 0 && components[static_cast<size_t>(count - 1)] == 0) --count;
  return count;
}

int LowestShown(int mode, int count) {
  if (mode == 1) return count >= 4 ? Minutes : count == 3 ? Seconds : Milliseconds;
  if (mode == 2) return count >= 2 ? Minutes : count == 1 ? Seconds : Milliseconds;
  return Milliseconds;
}

}  // namespace

string FormatDuration(int64 ms, int mode, bool withTotal) {
  const Components components = Cut(ms);
  const int count = CountLeft(components);
  int lowest = LowestShown(mode, count);
  while (lowest < count && components[static_cast<size_t>(lowest)] == 0) ++lowest;
  if (lowest >= count) return "0ms";
  string text;
  for (int i = count - 1; i >= lowest; --i) {
    const auto index = static_cast<size_t>(i);
    if (!text.empty()) text += ' ';
    text += qxStringUtils::fromInt64(components[index], 1) + sUnits[index];
  }
  if (withTotal && count > 1) text += " (" + qxStringUtils::fromInt64(ms, 1) + "ms)";
  return text;
}

}  // namespace qx
