#include "netweft/addressing/internal/UriParser.h"

#include "netweft/base/system/internal/AsciiText.h"
#include "netweft/base/system/qxStringUtils.h"

#include <algorithm>

namespace qx::impl {

namespace {

constexpr unsigned int kNormalizedParts = URI_NORMALIZE_SCHEME | URI_NORMALIZE_HOST;

struct QueryListDeleter {
  void operator()(UriQueryListA* list) const noexcept { uriFreeQueryListA(list); }
};
using QueryListPtr = unique_ptr<UriQueryListA, QueryListDeleter>;

/// What no escaping changes. Most texts are of nothing else, and are spared the two copies that uriparser needs.
constexpr bool IsUnreserved(char c) noexcept {
  const char lower = Lower(c);
  return (lower >= 'a' && lower <= 'z') || IsDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

bool IsEscaped(std::string_view text, bool plusToSpace) {
  return std::any_of(text.begin(), text.end(), [plusToSpace](char c) { return c == '%' || (plusToSpace && c == '+'); });
}

string EscapePiece(std::string_view piece) {
  string escaped(3 * piece.size() + 1, '\0');
  const char* end = uriEscapeExA(piece.data(), piece.data() + piece.size(), escaped.data(), URI_FALSE, URI_FALSE);
  escaped.resize(static_cast<size_t>(end - escaped.data()));
  return escaped;
}

string UnescapePiece(std::string_view escaped, bool plusToSpace) {
  string piece(escaped);
  // The result may hold a NUL that was "%00": its end is what the call returns.
  const char* end = uriUnescapeInPlaceExA(piece.data(), plusToSpace ? URI_TRUE : URI_FALSE, URI_BR_DONT_TOUCH);
  piece.resize(static_cast<size_t>(end - piece.data()));
  return piece;
}

/// `convert` of the pieces between the NULs of `text`, with `separator` in place of each NUL.
template <class Convert>
string ConvertAroundNul(std::string_view text, std::string_view separator, Convert convert) {
  string result;
  for (size_t begin = 0;;) {
    const size_t end = std::min(text.find('\0', begin), text.size());
    result += convert(text.substr(begin, end - begin));
    if (end == text.size()) return result;
    result += separator;
    begin = end + 1;
  }
}

/// uriparser gives the pieces of a query decoded and as C strings, so that "%00" would cut them short. A query whose
/// escapes are escaped once more comes back cut and still encoded.
string ProtectEscapes(std::string_view query) {
  string result;
  result.reserve(query.size() + 16);
  for (const char c : query) {
    switch (c) {
      case '%': result += "%25"; break;
      case '+': result += "%2B"; break;
      default: result += c; break;
    }
  }
  return result;
}

string Decode(const char* protectedText) {
  return protectedText == nullptr ? string() : UnescapeUriText(protectedText, true);
}

string MakeError(const char* what, int code) { return what + qxStringUtils::fromInt(code, 1); }

}  // namespace

string EscapeUriText(std::string_view text) {
  string escaped;
  AppendEscapedUriText(text, escaped);
  return escaped;
}

void AppendEscapedUriText(std::string_view text, string& out) {
  if (std::all_of(text.begin(), text.end(), IsUnreserved)) {
    out += text;
  } else {
    out += ConvertAroundNul(text, "%00", EscapePiece);
  }
}

string UnescapeUriText(string text, bool plusToSpace) {
  if (!IsEscaped(text, plusToSpace)) return text;
  return ConvertAroundNul(text, std::string_view("\0", 1),
                          [plusToSpace](std::string_view piece) { return UnescapePiece(piece, plusToSpace); });
}

ParsedUri::ParsedUri() noexcept : mUri{} {}

ParsedUri::~ParsedUri() {
  if (mUri.owner == URI_TRUE) {
    const std::string_view secret = getUserInfo();
    volatile char* bytes = const_cast<volatile char*>(secret.data());
    std::fill_n(bytes, secret.size(), '\0');
  }
  uriFreeUriMembersA(&mUri);
}

bool ParsedUri::parse(const string& text, string& error) {
  UriParserStateA state{};
  state.uri = &mUri;
  const int code = uriParseUriExA(&state, text.data(), text.data() + text.size());
  if (code == URI_SUCCESS) return true;
  error = code == URI_ERROR_SYNTAX
              ? "fail to parse uri UriParser syntax error @" + qxStringUtils::fromInt64(state.errorPos - text.data(), 1)
              : MakeError("fail to parse uri UriParser error ", code);
  return false;
}

bool ParsedUri::normalize(string& error) {
  const int code = uriNormalizeSyntaxExA(&mUri, kNormalizedParts);
  if (code != URI_SUCCESS) error = MakeError("fail to normalize uri UriParser error ", code);
  return code == URI_SUCCESS;
}

vector<string> ParsedUri::getPathSegments() const {
  vector<string> segments;
  for (const UriPathSegmentA* segment = mUri.pathHead; segment != nullptr; segment = segment->next) {
    segments.push_back(UnescapeUriText(string(GetText(segment->text)), false));
  }
  return segments;
}

bool ParsedUri::getQuery(StringPairList& out, string& error) const {
  if (mUri.query.first == nullptr) return true;
  std::string_view query = GetText(mUri.query);
  string protectedQuery;
  if (IsEscaped(query, true)) query = protectedQuery = ProtectEscapes(query);
  UriQueryListA* first = nullptr;
  int count = 0;
  const int code = uriDissectQueryMallocA(&first, &count, query.data(), query.data() + query.size());
  const QueryListPtr items(first);
  if (code != URI_SUCCESS) {
    error = MakeError("fail to split query parameters UriParser error ", code);
    return false;
  }
  for (const UriQueryListA* item = items.get(); item != nullptr; item = item->next) {
    out.emplace_back(Decode(item->key), Decode(item->value));
  }
  return true;
}

std::string_view ParsedUri::GetText(const UriTextRangeA& range) noexcept {
  if (range.first == nullptr) return {};
  return {range.first, static_cast<size_t>(range.afterLast - range.first)};
}

}  // namespace qx::impl
