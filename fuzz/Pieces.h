#pragma once

#include "fuzz/Require.h"
#include "netweft/base/system/qxTypes.h"

#include <string_view>

/// A text as it may come from a network.
namespace qx::fuzz {

using Pieces = vector<std::string_view>;

/// Cut into single bytes, and cut once (`where` counts in parts of 256), a text reads as it does whole. `read` takes
/// the pieces, and gives what can be compared.
template <class Reader>
void RequireSameInPieces(std::string_view text, unsigned char where, Reader read) {
  const auto whole = read(Pieces{text});
  const size_t cut = text.size() * where / 256;
  Require(read(Pieces{text.substr(0, cut), text.substr(cut)}) == whole, "two pieces read as the whole does");
  Pieces singleBytes;
  for (size_t i = 0; i < text.size(); ++i) singleBytes.push_back(text.substr(i, 1));
  Require(read(singleBytes) == whole, "single bytes read as the whole does");
}

}  // namespace qx::fuzz
