#include "netweft/base/json/internal/JsonString.h"

#include "netweft/base/json/internal/JsonOutput.h"
#include "netweft/base/system/internal/Utf8.h"

#include <algorithm>
#include <cstring>

namespace qx::json {

namespace {

using Byte = unsigned char;

constexpr uint32 sHighSurrogate = 0xD800;
constexpr uint32 sLowSurrogate = 0xDC00;
constexpr uint32 sNoCharacter = 0xFFFFFFFF;

constexpr bool IsHighSurrogate(uint32 code) { return (code & 0xFFFFFC00) == sHighSurrogate; }
constexpr bool IsLowSurrogate(uint32 code) { return (code & 0xFFFFFC00) == sLowSurrogate; }
constexpr uint32 CombineSurrogates(uint32 high, uint32 low) {
  return 0x10000 + ((high - sHighSurrogate) << 10) + (low - sLowSurrogate);
}

/// Also gives the three bytes of a surrogate, which UTF-8 proper has no form for.
void AppendCodePoint(uint32 code, string& out) {
  const auto put = [&out](uint32 byte) { out.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | (code >> 6));
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | (code >> 12));
    put(0x80 | ((code >> 6) & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | (code >> 18));
    put(0x80 | ((code >> 12) & 0x3F));
    put(0x80 | ((code >> 6) & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

uint32 HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<uint32>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<uint32>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<uint32>(c - 'A' + 10);
  return sNoCharacter;
}

/// The code unit behind a "\u" at `p`; `sNoCharacter` when there is none.
uint32 ReadUnicodeEscape(const char* p, const char* end) {
  constexpr int length = 6;
  if (end - p < length || p[0] != '\\' || p[1] != 'u') return sNoCharacter;
  uint32 code = 0;
  for (int i = 2; i < length; ++i) {
    const uint32 digit = HexDigit(p[i]);
    if (digit == sNoCharacter) return sNoCharacter;
    code = code << 4 | digit;
  }
  return code;
}

/// Appends what the "\u" escape at `p` means, together with a low surrogate's escape right behind it. The position
/// behind it all, null when malformed.
const char* UnescapeUnicode(const char* p, const char* end, string& out) {
  uint32 code = ReadUnicodeEscape(p, end);
  if (code == sNoCharacter) return nullptr;
  p += 6;
  if (IsHighSurrogate(code)) {
    const uint32 low = ReadUnicodeEscape(p, end);
    if (low != sNoCharacter && IsLowSurrogate(low)) {
      code = CombineSurrogates(code, low);
      p += 6;
    }
  }
  AppendCodePoint(code, out);
  return p;
}

/// The same for any escape.
const char* UnescapeOne(const char* p, const char* end, string& out) {
  if (end - p < 2) return nullptr;
  switch (p[1]) {
    case '"': out.push_back('"'); break;
    case '\\': out.push_back('\\'); break;
    case '/': out.push_back('/'); break;
    case 'b': out.push_back('\b'); break;
    case 'f': out.push_back('\f'); break;
    case 'n': out.push_back('\n'); break;
    case 'r': out.push_back('\r'); break;
    case 't': out.push_back('\t'); break;
    case 'u': return UnescapeUnicode(p, end, out);
    default: return nullptr;
  }
  return p + 2;
}

/// The surrogate whose three bytes stand at `p`; `sNoCharacter` when there is none.
uint32 ReadSurrogate(const char* p, const char* end) {
  if (end - p < 3 || static_cast<Byte>(p[0]) != 0xED) return sNoCharacter;
  const Byte second = static_cast<Byte>(p[1]);
  const Byte third = static_cast<Byte>(p[2]);
  if ((second & 0xE0) != 0xA0 || (third & 0xC0) != 0x80) return sNoCharacter;
  return 0xD000U | (second & 0x3FU) << 6 | (third & 0x3FU);
}

constexpr bool IsPlain(char c) {
  const Byte byte = static_cast<Byte>(c);
  return byte >= 0x20 && byte < 0x80 && c != '"' && c != '\\';
}

template <class Word>
Word Load(const char* p) {
  Word word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

/// Whether eight bytes are plain, without a look at each: a byte's top bit shows in the result when the byte is below
/// 0x20, a quote, a backslash or not ASCII.
bool AreEightPlain(uint64 word) {
  constexpr uint64 ones = 0x0101010101010101;
  constexpr uint64 tops = 0x8080808080808080;
  const uint64 quote = word ^ (ones * '"');
  const uint64 backslash = word ^ (ones * '\\');
  const uint64 found = word | (word - ones * 0x20) | (quote - ones) | (backslash - ones);
  return (found & tops) == 0;
}

const char* SkipPlain(const char* p, const char* end) {
  while (end - p >= 8 && AreEightPlain(Load<uint64>(p))) p += 8;
  while (p != end && IsPlain(*p)) ++p;
  return p;
}

/// Whether all bytes are plain. The last look at several of them reaches back over some that were seen before.
bool AreAllPlain(std::string_view text) {
  const char* p = text.data();
  const char* const end = p + text.size();
  if (text.size() >= 8) {
    for (; end - p > 8; p += 8) {
      if (!AreEightPlain(Load<uint64>(p))) return false;
    }
    return AreEightPlain(Load<uint64>(end - 8));
  }
  if (text.size() >= 4) return AreEightPlain(uint64{Load<uint32>(p)} << 32 | Load<uint32>(end - 4));
  return std::all_of(p, end, IsPlain);
}

/// Skips all that stands in a JSON string as it is: plain ASCII and characters of several bytes.
const char* SkipVerbatim(const char* p, const char* end) {
  for (;;) {
    p = SkipPlain(p, end);
    if (p == end || static_cast<Byte>(*p) < 0x80) return p;
    const size_t length = impl::Utf8SequenceLength({p, static_cast<size_t>(end - p)}, 0);
    if (length == 0) return p;
    p += length;
  }
}

constexpr std::string_view sReplacementCharacter = "\xEF\xBF\xBD";
constexpr std::string_view sHexDigits = "0123456789abcdef";

template <class Sink>
void PutUnicodeEscape(uint32 code, Sink& sink) {
  const char text[] = {
      '\\', 'u', sHexDigits[code >> 12], sHexDigits[code >> 8 & 15], sHexDigits[code >> 4 & 15], sHexDigits[code & 15]};
  sink.put({text, sizeof text});
}

template <class Sink>
void PutAsciiEscape(char c, Sink& sink) {
  switch (c) {
    case '"': sink.put("\\\""); break;
    case '\\': sink.put("\\\\"); break;
    case '\b': sink.put("\\b"); break;
    case '\f': sink.put("\\f"); break;
    case '\n': sink.put("\\n"); break;
    case '\r': sink.put("\\r"); break;
    case '\t': sink.put("\\t"); break;
    default: PutUnicodeEscape(static_cast<Byte>(c), sink); break;
  }
}

/// Puts what stands for the bytes at `p`, which are not UTF-8; gives the position behind them.
template <class Sink>
const char* PutNotUtf8(const char* p, const char* end, Sink& sink) {
  const uint32 code = ReadSurrogate(p, end);
  if (code == sNoCharacter) {
    sink.put(sReplacementCharacter);
    return p + 1;
  }
  const uint32 low = IsHighSurrogate(code) ? ReadSurrogate(p + 3, end) : sNoCharacter;
  if (low == sNoCharacter || !IsLowSurrogate(low)) {
    PutUnicodeEscape(code, sink);
    return p + 3;
  }
  string pair;
  AppendCodePoint(CombineSurrogates(code, low), pair);
  sink.put(pair);
  return p + 6;
}

/// One walk for all sinks, so that the size always agrees with the text.
template <class Sink>
void Escape(std::string_view text, Sink& sink) {
  const char* p = text.data();
  const char* const end = p + text.size();
  while (p != end) {
    const char* const stop = SkipVerbatim(p, end);
    sink.put({p, static_cast<size_t>(stop - p)});
    p = stop;
    if (p == end) break;
    if (static_cast<Byte>(*p) >= 0x80) {
      p = PutNotUtf8(p, end, sink);
    } else {
      PutAsciiEscape(*p++, sink);
    }
  }
}

struct Appender {
  string& out;
  void put(std::string_view piece) { out.append(piece); }
};

struct Counter {
  uint64 size = 0;
  void put(std::string_view piece) { size += piece.size(); }
};

}  // namespace

bool UnescapeJsonString(std::string_view inside, string& out) {
  size_t stop = inside.find('\\');
  out.assign(inside.substr(0, stop));
  const char* const end = inside.data() + inside.size();
  while (stop != std::string_view::npos) {
    const char* const next = UnescapeOne(inside.data() + stop, end, out);
    if (next == nullptr) return false;
    const auto begin = static_cast<size_t>(next - inside.data());
    stop = inside.find('\\', begin);
    out.append(inside.substr(begin, stop - begin));
  }
  return true;
}

void AppendJsonString(std::string_view text, string& out) {
  Appender sink{out};
  Escape(text, sink);
}

void PutJsonString(std::string_view text, JsonOutput& out) {
  // Nearly all names and most values are short and plain; a long text would be looked at twice when it is not.
  constexpr size_t shortText = 64;
  if (text.size() <= shortText && AreAllPlain(text)) {
    out.put(text);
  } else {
    Escape(text, out);
  }
}

uint64 JsonStringSize(std::string_view text) {
  Counter sink;
  Escape(text, sink);
  return sink.size;
}

}  // namespace qx::json
