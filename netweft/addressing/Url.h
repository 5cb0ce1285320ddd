#pragma once

#include "netweft/addressing/IpAddress.h"
#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

#include <string_view>

namespace qx {

/// A URL in pieces, decoded, that renders itself for the wire (`toEncodedUrl`) and for logs and messages, with secrets
/// masked (`toDisplayableUrl`).
///
/// A plain value without a lock: const operations may run on one Url from several threads while nobody writes it. The
/// references that the accessors return live as long as the Url and show its later changes.
///
/// User, password and authentication database are overwritten in memory when they are replaced, moved away or
/// destroyed. Texts that a Url has returned are the caller's to wipe.
class NETWEFT_EXPORT Url {
 public:
  /// The state that `clearUrl` leaves. Any other value acts as `CS_Empty`.
  enum ClearStrategy : int32 {
    CS_Empty = 0,         ///< no piece set
    CS_DefaultHttp = 1,   ///< "http", "127.0.0.1", port 80
    CS_DefaultHttps = 2,  ///< "https", "127.0.0.1", port 443
  };

  /// What stands between path segments, between query pairs, and between key and value of a pair.
  static constexpr std::string_view msPathSeparator = "/";
  static constexpr std::string_view msPairSeparator = "&";
  static constexpr std::string_view msKeyValueSeparator = "=";
  /// What a displayed query shows in place of a secret value. The mask of a password in the authority is one asterisk
  /// shorter, on purpose.
  static constexpr std::string_view msQueryValueMask = "********";

  /// As `clearUrl` leaves it.
  explicit Url(ClearStrategy strategy);
  /// `fromEncodedUtf8String(encodedUrl, nullptr, false)`: a text that does not parse leaves an empty Url and a log
  /// line.
  explicit Url(const string& encodedUrl);
  /// A copy holds copies of the secrets too.
  Url(const Url& other);
  /// Assigning a Url to itself loses `getHostAsIp` and changes nothing else.
  Url& operator=(const Url& other);
  /// The source is left empty, its secrets wiped.
  Url(Url&& other) noexcept;
  Url& operator=(Url&& other) noexcept;
  virtual ~Url();

  /// "http", say; empty when none was set.
  const string& getSchema() const noexcept { return mSchema; }
  /// User and password are as they were set; those of a parsed text are still percent-escaped.
  const string& getUser() const noexcept { return mUser; }
  const string& getPassword() const noexcept { return mPassword; }
  /// An IPv6 address stands in its square brackets.
  const string& getHost() const noexcept { return mHost; }
  /// The host as an address with port 0; invalid when the host is a name. `clearUrl` leaves it as it was.
  const IpAddress& getHostAsIp() const noexcept { return mHostIp; }
  /// 0: the URL states no port. There are no default ports here.
  uint16 getPort() const noexcept { return mPort; }
  /// Path segments, decoded. A segment may hold "/".
  const vector<string>& getPath() const noexcept { return mPath; }
  vector<string>& editPath() noexcept { return mPath; }
  /// Query pairs in order, decoded, duplicates allowed.
  const StringPairList& getUrlParameters() const noexcept { return mUrlParameters; }
  StringPairList& editUrlParameters() noexcept { return mUrlParameters; }

  /// Taken as it stands; nothing checks it.
  void setSchema(const string& schema) { mSchema = schema; }
  /// An IPv6 address, given without brackets, is put into its normal form and into brackets. Any other text is kept as
  /// it stands.
  void setHost(const string& host);
  /// Not to be called with this Url's own `getHostAsIp`, which would be lost.
  void setHost(const IpAddress& host);
  /// Replace the piece, decoded as the accessors give it; port 0 states none.
  void setPort(uint16 port) noexcept { mPort = port; }
  void setPath(const vector<string>& path) { mPath = path; }
  void setUrlParameters(const StringPairList& parameters) { mUrlParameters = parameters; }

  /// True when host and schema are both there. Nothing else is checked.
  bool isValid() const noexcept { return !mHost.empty() && !mSchema.empty(); }

  /// Compares host, user, password, path, port and schema. The query, the authentication database and the host's
  /// address take no part: two URLs that differ only in their query are equal.
  bool operator==(const Url& other) const noexcept;
  bool operator!=(const Url& other) const noexcept { return !(*this == other); }

  /// Wipes credentials, path and query, and sets schema, host and port by the strategy.
  void clearUrl(ClearStrategy strategy);

  /// Wipes user, password and authentication database.
  void clearCredentials();
  /// The credentials travel in the authority. The authentication database is wiped.
  void setCredentialsOnHttpHeaders(const string& user, const string& password);
  /// The credentials travel as three query pairs, unless `authDbName` is empty.
  ///
  /// In both setters a field is wiped before it is set: this Url's own `getUser` or `getPassword`, passed back for
  /// the same field, leaves it empty.
  void setCredentialsOnQueryParameter(const string& user, const string& password, const string& authDbName);
  /// Whether the credentials travel in the query: an authentication database is set.
  bool isUseCredentialsOnUrlParameters() const noexcept { return !mAuthDbName.empty(); }

  /// The segments, each percent-escaped, joined by "/", with no leading slash. No segment, or one empty segment, gives
  /// the empty text.
  static string ToEncodedPath(const vector<string>& path);
  string getEncodedPath() const { return ToEncodedPath(mPath); }
  /// Replaces `out` by the decoded pieces of a path; empty pieces stay, one before a leading slash too.
  static void FromEncodedPath(const string& encodedPath, vector<string>& out);
  void setEncodedPath(const string& encodedPath) { FromEncodedPath(encodedPath, mPath); }
  /// Cuts at "/" as `setEncodedPath` does and decodes nothing.
  void setNonEncodedPath(const string& path);

  /// Percent-escapes every byte but letters, digits, "-", ".", "_" and "~".
  static string UrlEncodeFromUtf8String(const string& text);
  /// Undoes percent escapes. A "+" stays a plus, and what is no escape stays as it is.
  static string UrlDecodeToUtf8String(const string& text);
  /// "key=value" joined by "&", keys and values escaped.
  static string ToQueryEncoding(const StringPairList& parameters);
  /// The same shape with nothing escaped: the body of a form as this system posts it.
  static string ToPostEncoding(const StringPairList& parameters);

  /// A copy with the segments appended to the path, if there are any, and the query REPLACED by `parameters`: an empty
  /// list drops this Url's own. A given text is one segment whatever it holds.
  Url toUrl(const StringPairList& parameters) const;
  Url toUrl(const vector<string>& segments, const StringPairList& parameters) const;
  Url toUrl(const string& a, const StringPairList& parameters) const;
  Url toUrl(const string& a, const string& b, const StringPairList& parameters) const;
  Url toUrl(const string& a, const string& b, const string& c, const StringPairList& parameters) const;
  Url toUrl(const string& a, const string& b, const string& c, const string& d, const StringPairList& parameters) const;

  /// Replaces this Url by a parsed text. On failure the Url is empty, and the reason replaces `*error`, or goes to the
  /// log's channel "url" when `error` is null. `normalize` puts scheme and host into lower case. The user information
  /// must hold a ":". A port that is no number of 16 bits is dropped without a report; one with a leading zero is
  /// octal. The fragment is dropped.
  ///
  /// "http://h/" has one empty path segment, so that a segment appended to it follows a double slash.
  bool fromEncodedUtf8String(const string& text, string* error = nullptr, bool normalize = false);

  /// For the wire: schema, credentials, host, port, path, query. A user without a password is left out.
  string toEncodedUrl() const;
  /// For logs and messages: the password, the values of pairs whose key contains "secret", "pwd" or "password", and
  /// credentials in the query are masked.
  string toDisplayableUrl() const;
  /// The query alone, without "?"; `displayable` masks as `toDisplayableUrl` does.
  string getQueryParameters(bool displayable) const;

 private:
  bool parse(const string& text, bool normalize, string& error);
  bool hasCredentials() const noexcept { return !mUser.empty() && !mPassword.empty(); }
  string render(bool displayable) const;

  string mSchema;
  string mUser;
  string mPassword;
  string mHost;
  string mAuthDbName;
  IpAddress mHostIp;
  StringPairList mUrlParameters;
  vector<string> mPath;
  uint16 mPort = 0;
};

}  // namespace qx
