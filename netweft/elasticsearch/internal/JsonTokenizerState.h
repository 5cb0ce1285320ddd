#pragma once

#include "netweft/base/json/internal/JsonScan.h"
#include "netweft/base/system/qxTypes.h"

#include <string_view>

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
  /// Takes all bytes from `here` on that lengthen an open string, or stand between strings and brackets, or are a
  /// string that ends in the chunk without its closing quote, and gives the first that does more. The same as `consume`
  /// for each of them, in a fraction of the time, except that values outside strings are lost.
  const char* consumePlain(const char* here, const char* end);
  /// Takes what stands inside an object at `floor` curly brackets: members, and whatever is nested in them, in whole
  /// strings and brackets, many bytes at a time. Gives the first byte that it leaves to `consume`: one that closes the
  /// object or its list, a string of that object for whose size in bytes `isWanted` is true, a string that goes on in
  /// the next chunk. Outside such an object, and within a string, that is `here` itself. Members' values are lost.
  template <class IsWanted>
  const char* consumeNested(const char* here, const char* end, int32 floor, const IsWanted& isWanted);
  /// Behind the last byte of a chunk. Of an open string nothing more is kept once it is longer than `keptSize` bytes.
  void endChunk(size_t keptSize);

  /// The length in bytes of the string that `consume` has just ended, still escaped.
  size_t getStringSize() const;
  /// The text of the string that `consume` has just ended, still escaped: where it stands in the chunk, or in `joined`,
  /// which is replaced, if it began in an earlier one.
  std::string_view viewString(string& joined) const;

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
  void forgetValue() {
    if (inValue) resetValue();
  }
  void openString(const char* quote);
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
  const char* const behind = inString ? json::FindQuoteOrBackslash(here, end) : json::FindBracketOrQuote(here, end);
  if (behind != here) beginBytes();
  if (inString) {
    stringEnd = behind;
    valueEnd = behind;
    return behind;
  }
  forgetValue();
  if (behind == end || *behind != '"') return behind;
  const char* const closing = json::FindClosingQuote(behind + 1, end);
  if (closing == end) return behind;
  beginBytes();
  openString(behind);
  stringEnd = closing;
  return closing;
}

template <class IsWanted>
const char* JsonTokenizerState::consumeNested(const char* here, const char* end, int32 floor,
                                              const IsWanted& isWanted) {
  if (inString || escaped || curlyDepth < floor) return here;
  forgetValue();
  for (here = json::FindBracketOrQuote(here, end); here != end; here = json::FindBracketOrQuote(here + 1, end)) {
    switch (*here) {
      case '"': {
        const char* const closing = json::FindClosingQuote(here + 1, end);
        if (closing == end) return here;
        if (curlyDepth == floor && isWanted(static_cast<size_t>(closing - here - 1))) return here;
        here = closing;
        break;
      }
      case '[': Step(squareDepth, 1); break;
      case ']':
        if (squareDepth <= 1) return here;
        --squareDepth;
        break;
      case '{': Step(curlyDepth, 1); break;
      case '}':
        if (curlyDepth == floor) return here;
        Step(curlyDepth, -1);
        break;
      default: return here;  // a backslash outside a string, which no JSON has
    }
  }
  return here;
}

inline void JsonTokenizerState::consume(const char* here) {
  beginBytes();
  if (!inString) trackDepth(*here);
  trackValue(here);
  trackString(here);
}

inline size_t JsonTokenizerState::getStringSize() const {
  return stringCarry.size() + static_cast<size_t>(stringEnd - stringStart);
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

inline void JsonTokenizerState::openString(const char* quote) {
  stringCarry.clear();
  stringStart = quote + 1;
  // An end of the string before must not stay behind the new start: the chunk may be over here.
  stringEnd = quote + 1;
  inString = true;
}

inline void JsonTokenizerState::trackString(const char* here) {
  const bool isQuote = *here == '"' && !escaped;
  if (isQuote && inString) {
    stringDone = true;
    inString = false;
    stringEnd = here;
  } else if (isQuote) {
    openString(here);
  } else if (inString) {
    stringEnd = here + 1;
  }
  escaped = *here == '\\' && !escaped;
}

}  // namespace qx::elasticsearch
