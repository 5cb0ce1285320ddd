#pragma once

#include "netweft/base/system/qxTypes.h"

#include <string_view>

namespace qx::json {

/// The white space of JSON, no more: a form feed or a NUL is rubbish.
constexpr bool IsJsonSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

/// The tokens of a JSON text, found many bytes at a time by simdjson's first stage. That stage also proves that
/// strings are UTF-8 and closed and that no raw control character stands in them. Which token may follow which, and
/// what stands in any other token, is the reader's business.
///
/// A token is one of `{ } [ ] : ,`, or a string with its quotes, or other characters in a row: a number, a literal, or
/// rubbish, at which a token may also be cut. Views point into a copy of the text and hold until the next `scan` or the
/// end of the object. One thread at a time.
class JsonTokens {
 public:
  JsonTokens();
  JsonTokens(const JsonTokens&) = delete;
  JsonTokens& operator=(const JsonTokens&) = delete;
  ~JsonTokens();

  /// Goes to the text's first token. False when there is none, when the text breaks one of the rules above, or when it
  /// is longer than 4 GiB; then there is no token. Reads no byte behind the text.
  bool scan(std::string_view text);

  bool atEnd() const { return *mNext == mSize; }

  /// The first character of the token ahead; at the end NUL, with which no valid token starts.
  char peek() const { return mText[*mNext]; }

  /// Step over the token ahead and give its first character, or the whole of it. At the end they stay there and give
  /// NUL and the empty view.
  char takeFirst() { return atEnd() ? '\0' : mText[*mNext++]; }
  std::string_view takeWhole();

  /// The longest text that fits without new memory.
  uint64 capacity() const;

 private:
  struct State;

  bool reserve(uint64 size);
  void clear();

  unique_ptr<State> mState;
  const char* mText;    ///< padded with NULs
  const uint32* mNext;  ///< where the tokens start in the text; behind the last one stands the text's size
  uint32 mSize;
};

inline std::string_view JsonTokens::takeWhole() {
  if (atEnd()) return {};
  const uint32 begin = *mNext++;
  uint32 end = *mNext;
  while (IsJsonSpace(mText[end - 1])) --end;  // a token starts with something else
  return {mText + begin, end - begin};
}

}  // namespace qx::json
