#pragma once

#include <cstddef>
#include <cstdint>

namespace qx::bench {

/// What one would write first: a JSON text's strings and nesting, followed byte by byte. The least that a streaming
/// reader has to know, and the peer of those that know more.
class ByteMachine {
 public:
  void add(const char* data, size_t size) {
    for (const char* const end = data + size; data != end; ++data) step(*data);
  }

  /// A number that depends on each byte, so that none can be left out.
  uint64_t getDigest() const { return mObjects * 31 + mDepth; }

 private:
  void step(char c) {
    if (mEscaped) {
      mEscaped = false;
    } else if (mInString) {
      mEscaped = c == '\\';
      mInString = c != '"';
    } else {
      switch (c) {
        case '"': mInString = true; break;
        case '{':
        case '[': ++mDepth; break;
        case '}':
        case ']':
          --mDepth;
          ++mObjects;
          break;
        default: break;
      }
    }
  }

  uint64_t mDepth = 0;
  uint64_t mObjects = 0;
  bool mInString = false;
  bool mEscaped = false;
};

}  // namespace qx::bench
