#pragma once

#include "netweft/base/system/qxTypes.h"

#include <uriparser/Uri.h>

#include <string_view>

/// The only way to uriparser in this house. Its functions see the end of a text in a NUL; here a NUL is a byte like any
/// other.
namespace qx::impl {

/// Percent-escapes every byte but the unreserved ones; a blank becomes "%20".
string EscapeUriText(std::string_view text);
/// The same, behind what `out` holds.
void AppendEscapedUriText(std::string_view text, string& out);

/// Undoes percent escapes; what is no escape stays as it is.
string UnescapeUriText(string text, bool plusToSpace);

/// One parsed URI. Its pieces are views into the parsed text, or into its own memory once it was normalised, and are
/// still escaped; an absent piece is an empty view. User information that it owns is wiped when it ends.
class ParsedUri {
 public:
  ParsedUri() noexcept;
  ParsedUri(const ParsedUri&) = delete;
  ParsedUri& operator=(const ParsedUri&) = delete;
  ~ParsedUri();

  /// Called once. `text` must outlive this object. On false `error` holds the message.
  bool parse(const string& text, string& error);
  /// Puts scheme and host into lower case.
  bool normalize(string& error);

  std::string_view getScheme() const noexcept { return GetText(mUri.scheme); }
  std::string_view getUserInfo() const noexcept { return GetText(mUri.userInfo); }
  /// Without the brackets of an IPv6 literal.
  std::string_view getHost() const noexcept { return GetText(mUri.hostText); }
  std::string_view getPort() const noexcept { return GetText(mUri.portText); }

  /// Decoded, empty ones included.
  vector<string> getPathSegments() const;
  /// Appends the decoded pairs; a missing value is the empty text. On false `error` holds the message.
  bool getQuery(StringPairList& out, string& error) const;

 private:
  static std::string_view GetText(const UriTextRangeA& range) noexcept;

  UriUriA mUri;
};

}  // namespace qx::impl
