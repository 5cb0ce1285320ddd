#pragma once

#include "netweft/base/system/qxTypes.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace qx::fuzz {

/// A fuzzer's input: one byte of choice, one byte that says where to cut, and the text.
struct CutInput {
  CutInput(const unsigned char* data, size_t size)
      : choice(size > 0 ? data[0] : 0u),
        text(reinterpret_cast<const char*>(data) + (size > 2 ? 2 : size), size > 2 ? size - 2 : 0),
        cut(size > 1 ? text.size() * data[1] / 256 : 0) {}

  vector<std::string_view> asOnePiece() const { return {text}; }
  vector<std::string_view> asTwoPieces() const { return {text.substr(0, cut), text.substr(cut)}; }
  vector<std::string_view> asSingleBytes() const {
    vector<std::string_view> pieces;
    for (size_t i = 0; i < text.size(); ++i) pieces.push_back(text.substr(i, 1));
    return pieces;
  }

  unsigned int choice;
  std::string_view text;
  size_t cut;
};

/// Ends the process, which a fuzzer takes as a finding.
inline void Require(bool isTrue, const char* sentence) {
  if (isTrue) return;
  std::fprintf(stderr, "broken: %s\n", sentence);
  std::abort();
}

}  // namespace qx::fuzz
