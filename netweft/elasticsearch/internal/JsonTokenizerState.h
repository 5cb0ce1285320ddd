#pragma once

#include "netweft/base/json/internal/JsonScan.h"
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

  /// The length in bytes of the string that `consume` has just ended, still escaped.
  size_t getStringSize() const;
  /// The text of the string that `consume` has just ended, still escaped, into `out`.
  void copyString(string& out) const;

  bool hasEntered() const { return curlyDepth > prevCurlyDepth; }
  bool hasLeft() const { return curlyDepth < prevCurlyDepth; }
  bool hasChangedDepth() const { return curlyDepth != prevCurlyDepth || squareDepth != prevSquareDepth; }

 private:
  /// A peer that sends two gigabytes of brackets wraps the depth around instead of overflowing it.
  static void Step(int32& depth, int32 by) {
    depth = static_cast<int32>(static_cast<uint32>(depth) + static_cast<uint32>(by));
  }

  void beginBytes();
  void trackDepth(char c);
  void trackValue(const char* here);
  void trackString(const char* here);
  void resetValue();
};

// In the header, since they run for each byte that means anything.

inline void JsonTokenizerState::beginBytes() {
  prevSquareDepth = squareDepth;
  prevCurlyDepth = curlyDepth;
  stringDone = false;
  valueDone = false;
}

inline const char* JsonTokenizerState::consumePlain(const char* here, const char* end) {
  if (escaped) return here;
  const char* behind = inString ? json::FindQuoteOrBackslash(here, end) : json::FindStructural(here, end);
  if (behind == here) return here;
  beginBytes();
  if (inString) stringEnd = behind;
  valueEnd = behind;
  return behind;
}

inline void JsonTokenizerState::consume(const char* here) {
  beginBytes();
  if (!inString) trackDepth(*here);
  trackValue(here);
  trackString(here);
}

inline void JsonTokenizerState::trackDepth(char c) {
  switch (c) {
    case '[':
      Step(squareDepth, 1);
      resetValue();
      break;
    case ']':
      Step(squareDepth, -1);
      resetValue();
      break;
    case '{':
      Step(curlyDepth, 1);
      resetValue();
      break;
    case '}': Step(curlyDepth, -1); break;
    default: break;
  }
}

inline void JsonTokenizerState::resetValue() {
  inValue = false;
  valueStart = nullptr;
  valueEnd = nullptr;
  valueCarry.clear();
}

inline void JsonTokenizerState::trackValue(const char* here) {
  if (!inString && *here == ':') {
    resetValue();
    valueStart = here + 1;
    inValue = true;
  } else if (!inString && inValue && (*here == ',' || *here == '}')) {
    valueEnd = here;
    inValue = false;
    valueDone = true;
    return;
  }
  valueEnd = here + 1;
}

inline void JsonTokenizerState::trackString(const char* here) {
  const bool isQuote = *here == '"' && !escaped;
  if (isQuote && inString) {
    stringDone = true;
    inString = false;
    stringEnd = here;
  } else if (isQuote) {
    stringCarry.clear();
    stringStart = here + 1;
    // An end of the string before must not stay behind the new start: the chunk may be over here.
    stringEnd = here + 1;
    inString = true;
  } else if (inString) {
    stringEnd = here + 1;
  }
  escaped = *here == '\\' && !escaped;
}

}  // namespace qx::elasticsearch
