#pragma once

#include "netweft/base/system/qxTypes.h"

#include <algorithm>
#include <string_view>

namespace qx::fuzz {

/// What a target reads its parameters from: the bytes of a fuzzer's input, from front to back. Where nothing is left
/// there are zeros and empty texts.
class Input {
 public:
  explicit Input(std::string_view bytes) : mLeft(bytes) {}

  bool isEmpty() const { return mLeft.empty(); }

  bool hasLine() const { return mLeft.find('\n') != std::string_view::npos; }

  unsigned char takeByte() {
    const std::string_view byte = takeText(1);
    return byte.empty() ? static_cast<unsigned char>(0) : static_cast<unsigned char>(byte.front());
  }

  uint32 takeNumber(int bytes) {
    uint32 number = 0;
    for (int i = 0; i < bytes; ++i) number = number << 8 | takeByte();
    return number;
  }

  /// Shorter where less is left.
  std::string_view takeText(size_t size) {
    const std::string_view text = mLeft.substr(0, size);
    mLeft.remove_prefix(text.size());
    return text;
  }

  /// Up to the next line feed, which is dropped.
  std::string_view takeLine() {
    const std::string_view line = takeText(std::min(mLeft.find('\n'), mLeft.size()));
    takeText(1);
    return line;
  }

  std::string_view takeRest() { return takeText(mLeft.size()); }

 private:
  std::string_view mLeft;
};

}  // namespace qx::fuzz
