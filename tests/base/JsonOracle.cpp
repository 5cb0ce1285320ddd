#include "tests/base/JsonOracle.h"

#include <utf8.h>

namespace jsonoracle {

namespace {

class Parser {
 public:
  Parser(std::string_view text, size_t maxLevels) : mText(text), mMaxLevels(maxLevels) {}

  bool isContainerAlone() {
    skipSpace();
    if (!at('{') && !at('[')) return false;
    if (!value()) return false;
    skipSpace();
    return mAt == mText.size();
  }

 private:
  bool at(char c) const { return mAt < mText.size() && mText[mAt] == c; }
  bool atAnyOf(std::string_view set) const { return mAt < mText.size() && set.find(mText[mAt]) != set.npos; }
  bool take(char c) { return at(c) && ++mAt != 0; }
  bool take(std::string_view word) {
    if (mText.substr(mAt, word.size()) != word) return false;
    mAt += word.size();
    return true;
  }
  void skipSpace() {
    while (atAnyOf(" \t\r\n")) ++mAt;
  }

  bool value() {
    skipSpace();
    if (at('{')) return container('}');
    if (at('[')) return container(']');
    if (at('"')) return text();
    return take("true") || take("false") || take("null") || number();
  }

  bool container(char end) {
    if (++mLevel > mMaxLevels) return false;
    ++mAt;
    skipSpace();
    if (!at(end)) {
      do {
        if (end == '}' && !name()) return false;
        if (!value()) return false;
        skipSpace();
      } while (take(','));
    }
    --mLevel;
    return take(end);
  }

  bool name() {
    skipSpace();
    if (!text()) return false;
    skipSpace();
    return take(':');
  }

  bool text() {
    if (!take('"')) return false;
    while (mAt < mText.size()) {
      const auto c = static_cast<unsigned char>(mText[mAt++]);
      if (c == '"') return true;
      if (c < 0x20) return false;
      if (c == '\\' && !escape()) return false;
    }
    return false;
  }

  bool escape() {
    if (!take('u')) return atAnyOf("\"\\/bfnrt") && ++mAt != 0;
    for (int i = 0; i < 4; ++i, ++mAt) {
      if (!atAnyOf("0123456789abcdefABCDEF")) return false;
    }
    return true;
  }

  bool digits() {
    const size_t begin = mAt;
    while (atAnyOf("0123456789")) ++mAt;
    return mAt != begin;
  }

  bool number() {
    take('-');
    if (!take('0') && !digits()) return false;
    if (take('.') && !digits()) return false;
    if (!take('e') && !take('E')) return true;
    if (!take('+')) take('-');
    return digits();
  }

  const std::string_view mText;
  const size_t mMaxLevels;
  size_t mAt = 0;
  size_t mLevel = 0;
};

}  // namespace

bool IsValid(std::string_view text, size_t maxLevels) {
  return utf8::is_valid(text.begin(), text.end()) && Parser(text, maxLevels).isContainerAlone();
}

std::string Compacted(std::string_view text) {
  std::string compact;
  bool inString = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (!inString && (c == ' ' || c == '\t' || c == '\r' || c == '\n')) continue;
    compact += c;
    if (c == '"') inString = !inString;
    if (inString && c == '\\') compact += text[++i];
  }
  return compact;
}

}  // namespace jsonoracle
