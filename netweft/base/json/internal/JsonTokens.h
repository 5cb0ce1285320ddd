#pragma once

#include "netweft/base/system/qxTypes.h"

#include <simdjson.h>

#include <string_view>

namespace qx::json {

/// The white space of JSON, no more: a form feed or a NUL is rubbish.
constexpr bool IsJsonSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

/// The tokens of a JSON text, found many bytes at a time by simdjson's first stage. That stage also proves that the text
/// is UTF-8, that its strings are closed and that no raw control character stands in them. Which token may follow which,
/// and what stands in a token, is the reader's business.
///
/// A token is one of `{ } [ ] : ,`, or a string with its quotes, or a run of other characters between those: a number, a
/// literal, or rubbish. Views point into a copy of the text and hold until the next `scan` or the end of the object.
/// One thread at a time.
class JsonTokens {
 public:
  /// Goes to the text's first token. False when there is none, when the text breaks one of the rules above, or when it is
  /// longer than 4 GiB. Reads no byte behind the text.
  bool scan(std::string_view text);

  bool atEnd() const { return mTokens.at_end(); }

  /// The first character of the token ahead; at the end NUL, with which no valid token starts.
  char peek() const { return atEnd() ? '\0' : static_cast<char>(*mTokens.peek()); }

  /// Step over the token ahead and give its first character, or the whole of it. At the end they stay there and give NUL
  /// and the empty view.
  char takeFirst() { return atEnd() ? '\0' : static_cast<char>(*mTokens.return_current_and_advance()); }
  std::string_view takeWhole();

  /// The longest text that fits without new memory.
  uint64 capacity() const { return mCapacity; }

 private:
  bool reserve(uint64 size);

  simdjson::ondemand::parser mParser;
  simdjson::ondemand::json_iterator mTokens;
  unique_ptr<char[]> mText;
  uint64 mCapacity = 0;
};

inline std::string_view JsonTokens::takeWhole() {
  if (atEnd()) return {};
  size_t length = mTokens.peek_length();
  const char* const begin = reinterpret_cast<const char*>(mTokens.return_current_and_advance());
  while (IsJsonSpace(begin[length - 1])) --length;  // the library's length reaches to the next token
  return {begin, length};
}

}  // namespace qx::json
