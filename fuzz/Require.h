#pragma once

#include <cstdio>
#include <cstdlib>

namespace qx::fuzz {

/// Ends the process, which a fuzzer takes as a finding, when the sentence is not true.
inline void Require(bool isTrue, const char* sentence) {
  if (isTrue) return;
  std::fprintf(stderr, "broken: %s\n", sentence);
  std::abort();
}

}  // namespace qx::fuzz
