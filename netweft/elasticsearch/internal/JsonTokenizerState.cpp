#include "netweft/elasticsearch/internal/JsonTokenizerState.h"

#include "netweft/base/json/internal/JsonScan.h"

namespace qx::elasticsearch {

namespace {

/// A peer that sends two gigabytes of brackets wraps the depth around instead of overflowing it.
void Step(int32& depth, uint32 by) { depth = static_cast<int32>(static_cast<uint32>(depth) + by); }

constexpr uint32 sUp = 1;
constexpr uint32 sDown = ~0U;

}  // namespace

void JsonTokenizerState::beginChunk(const char* data) {
  stringStart = data;
  valueStart = data;
  stringEnd = data + 1;
  valueEnd = data + 1;
}

void JsonTokenizerState::beginBytes() {
  prevSquareDepth = squareDepth;
  prevCurlyDepth = curlyDepth;
  stringDone = false;
  valueDone = false;
}

const char* JsonTokenizerState::consumePlain(const char* here, const char* end) {
  if (escaped) return here;
  const char* behind = inString ? json::FindQuoteOrBackslash(here, end) : json::FindStructural(here, end);
  if (behind == here) return here;
  beginBytes();
  if (inString) stringEnd = behind;
  valueEnd = behind;
  return behind;
}

void JsonTokenizerState::consume(const char* here) {
  beginBytes();
  if (!inString) trackDepth(*here);
  trackValue(here);
  trackString(here);
}

void JsonTokenizerState::trackDepth(char c) {
  switch (c) {
    case '[':
      Step(squareDepth, sUp);
      resetValue();
      break;
    case ']':
      Step(squareDepth, sDown);
      resetValue();
      break;
    case '{':
      Step(curlyDepth, sUp);
      resetValue();
      break;
    case '}': Step(curlyDepth, sDown); break;
    default: break;
  }
}

void JsonTokenizerState::resetValue() {
  inValue = false;
  valueStart = nullptr;
  valueEnd = nullptr;
  valueCarry.clear();
}

void JsonTokenizerState::trackValue(const char* here) {
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

void JsonTokenizerState::trackString(const char* here) {
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

void JsonTokenizerState::endChunk() {
  if (inString) stringCarry.append(stringStart, stringEnd);
  if (inValue) valueCarry.append(valueStart, valueEnd);
  stringStart = nullptr;
  stringEnd = nullptr;
  valueStart = nullptr;
  valueEnd = nullptr;
}

void JsonTokenizerState::copyString(string& out) const {
  out = stringCarry;
  out.append(stringStart, stringEnd);
}

}  // namespace qx::elasticsearch
