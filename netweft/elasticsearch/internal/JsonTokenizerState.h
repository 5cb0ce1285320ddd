#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::elasticsearch {

/// Follows JSON text byte by byte, over chunks of any size: how deep it is nested, where strings and values begin and
/// end. It checks nothing: text that is no JSON gives depths and strings that mean nothing, and no harm.
///
/// The pointers lead into the chunk at hand; what is open at its end is carried over.
struct JsonTokenizerState {
  int32 prevSquareDepth = 0;
  int32 squareDepth = 0;
  int32 prevCurlyDepth = 0;
  int32 curlyDepth = 0;
  bool stringDone = false;  ///< this byte has ended a string
  bool valueDone = false;   ///< this byte has ended a member's value
  bool escaped = false;     ///< the byte before was a backslash that escapes
  const char* stringStart = nullptr;
  const char* stringEnd = nullptr;
  string stringCarry;
  bool inString = false;
  const char* valueStart = nullptr;
  const char* valueEnd = nullptr;
  string valueCarry;
  bool inValue = false;

  /// Before the first byte of a chunk, which must not be empty and stays the caller's until `endChunk`.
  void beginChunk(const char* data);
  /// Takes one byte of the chunk. All bytes of a chunk in order.
  void consume(const char* here);
  /// Takes all bytes from `here` on that only lengthen an open string or value, and gives the first that does more. The
  /// same as `consume` for each of them, in a fraction of the time: most of a reply is the inside of strings.
  const char* consumePlain(const char* here, const char* end);
  /// Behind the last byte of a chunk.
  void endChunk();

  /// The text of the string that `consume` has just ended, still escaped, into `out`.
  void copyString(string& out) const;

  bool hasEntered() const { return curlyDepth > prevCurlyDepth; }
  bool hasLeft() const { return curlyDepth < prevCurlyDepth; }

 private:
  void beginBytes();
  void trackDepth(char c);
  void trackValue(const char* here);
  void trackString(const char* here);
  void resetValue();
};

}  // namespace qx::elasticsearch
