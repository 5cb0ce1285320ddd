#include "netweft/addressing/Url.h"

#include "netweft/addressing/internal/ExtendedUrl.h"
#include "netweft/addressing/internal/UriParser.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"

#include <limits>

namespace qx {

namespace {

/// An empty one has nothing left to wipe: whatever empties a secret in this file wipes it.
void WipeSecret(string& secret) {
  if (!secret.empty()) qxStringUtils::SecureClear(secret);
}

/// A secret never lies in a buffer that a longer one makes the string give back: it is wiped before it is replaced.
void SetSecret(string& secret, const string& value) {
  WipeSecret(secret);
  if (&secret != &value) secret = value;
}

void MoveSecret(string& secret, string& source) {
  WipeSecret(secret);
  if (source.empty()) return;
  secret = std::move(source);
  qxStringUtils::SecureClear(source);  // empty by now, but a short string's bytes stay behind in the source of a move
}

uint16 ParsePort(std::string_view text) {
  int64 port = 0;
  const bool usable =
      qxStringUtils::ParseInt64(string(text), 0, port) && port >= 0 && port <= std::numeric_limits<uint16>::max();
  return usable ? static_cast<uint16>(port) : uint16{0};
}

bool IsSecretKey(std::string_view encodedKey) {
  for (const char* part : {"secret", "pwd", "password"}) {
    if (encodedKey.find(part) != std::string_view::npos) return true;
  }
  return false;
}

/// Gathers pairs as "key=value" joined by "&", keys and values escaped, the values of secrets masked where it is to be
/// displayed.
class QueryText {
 public:
  explicit QueryText(bool displayable) : mDisplayable(displayable) {}

  void add(std::string_view key, std::string_view value) {
    const std::string_view escapedKey = addKey(key);
    addValue(value, mDisplayable && IsSecretKey(escapedKey));
  }
  void addSecret(std::string_view key, std::string_view value) {
    addKey(key);
    addValue(value, mDisplayable);
  }

  string take() { return std::move(mText); }

 private:
  /// The key as it stands in the text, until that changes.
  std::string_view addKey(std::string_view key) {
    if (!mText.empty()) mText += Url::msPairSeparator;
    const size_t begin = mText.size();
    impl::AppendEscapedUriText(key, mText);
    return std::string_view(mText).substr(begin);
  }

  void addValue(std::string_view value, bool masked) {
    mText += Url::msKeyValueSeparator;
    if (masked) {
      mText += Url::msQueryValueMask;
    } else {
      impl::AppendEscapedUriText(value, mText);
    }
  }

  const bool mDisplayable;
  string mText;
};

}  // namespace

Url::Url(ClearStrategy strategy) { clearUrl(strategy); }

Url::Url(const string& encodedUrl) { fromEncodedUtf8String(encodedUrl, nullptr, false); }

Url::Url(const Url& other) = default;

Url& Url::operator=(const Url& other) {
  if (this != &other) {
    SetSecret(mUser, other.mUser);
    SetSecret(mPassword, other.mPassword);
    SetSecret(mAuthDbName, other.mAuthDbName);
  }
  mSchema = other.mSchema;
  mHost = other.mHost;
  mHostIp = other.mHostIp;
  mUrlParameters = other.mUrlParameters;
  mPath = other.mPath;
  mPort = other.mPort;
  return *this;
}

Url::Url(Url&& other) noexcept { *this = std::move(other); }

Url& Url::operator=(Url&& other) noexcept {
  if (this == &other) return *this;
  MoveSecret(mUser, other.mUser);
  MoveSecret(mPassword, other.mPassword);
  MoveSecret(mAuthDbName, other.mAuthDbName);
  mSchema = std::move(other.mSchema);
  mHost = std::move(other.mHost);
  mHostIp = std::move(other.mHostIp);
  mUrlParameters = std::move(other.mUrlParameters);
  mPath = std::move(other.mPath);
  mPort = other.mPort;
  other.clearUrl(CS_Empty);
  return *this;
}

Url::~Url() { clearUrl(CS_Empty); }

void Url::setHost(const string& host) {
  mHostIp.fromStringAddress(host, IpAddress::IPT_Invalid);
  mHost = mHostIp.getType() == IpAddress::IPT_IPv6 ? "[" + mHostIp.getAddressAsString(false) + "]" : host;
}

void Url::setHost(const IpAddress& host) {
  mHostIp = host;
  const string text = mHostIp.getAddressAsString(false);
  mHost = mHostIp.getType() == IpAddress::IPT_IPv6 ? "[" + text + "]" : text;
}

bool Url::operator==(const Url& other) const noexcept {
  return mHost == other.mHost && mUser == other.mUser && mPassword == other.mPassword && mPath == other.mPath &&
         mPort == other.mPort && mSchema == other.mSchema;
}

void Url::clearUrl(ClearStrategy strategy) {
  switch (strategy) {
    case CS_DefaultHttp:
    case CS_DefaultHttps:
      mSchema = strategy == CS_DefaultHttp ? "http" : "https";
      mHost = "127.0.0.1";
      mPort = strategy == CS_DefaultHttp ? 80 : 443;
      break;
    default:
      mSchema.clear();
      qxStringUtils::SecureClear(mHost);
      mPort = 0;
      break;
  }
  clearCredentials();
  mPath.clear();
  mUrlParameters.clear();
}

void Url::clearCredentials() {
  WipeSecret(mUser);
  WipeSecret(mPassword);
  WipeSecret(mAuthDbName);
}

void Url::setCredentialsOnHttpHeaders(const string& user, const string& password) {
  SetSecret(mUser, user);
  SetSecret(mPassword, password);
  WipeSecret(mAuthDbName);
}

void Url::setCredentialsOnQueryParameter(const string& user, const string& password, const string& authDbName) {
  SetSecret(mUser, user);
  SetSecret(mPassword, password);
  SetSecret(mAuthDbName, authDbName);
}

string Url::ToEncodedPath(const vector<string>& path) {
  string result;
  for (const string& segment : path) {
    if (&segment != &path.front()) result += msPathSeparator;
    impl::AppendEscapedUriText(segment, result);
  }
  return result;
}

void Url::FromEncodedPath(const string& encodedPath, vector<string>& out) {
  // The text may be a segment of `out`.
  vector<string> pieces;
  qxStringUtils::Split(encodedPath, msPathSeparator.front(), pieces, true);
  for (string& piece : pieces) piece = impl::UnescapeUriText(std::move(piece), false);
  out.swap(pieces);
}

void Url::setNonEncodedPath(const string& path) {
  vector<string> pieces;
  qxStringUtils::Split(path, msPathSeparator.front(), pieces, true);
  mPath.swap(pieces);
}

string Url::UrlEncodeFromUtf8String(const string& text) { return impl::EscapeUriText(text); }

string Url::UrlDecodeToUtf8String(const string& text) { return impl::UnescapeUriText(text, false); }

string Url::ToQueryEncoding(const StringPairList& parameters) {
  QueryText query(false);
  for (const auto& [key, value] : parameters) query.add(key, value);
  return query.take();
}

string Url::ToPostEncoding(const StringPairList& parameters) {
  string result;
  for (const auto& pair : parameters) {
    if (&pair != &parameters.front()) result += msPairSeparator;
    result += pair.first;
    result += msKeyValueSeparator;
    result += pair.second;
  }
  return result;
}

Url Url::toUrl(const StringPairList& parameters) const { return toUrl(vector<string>(), parameters); }

Url Url::toUrl(const vector<string>& segments, const StringPairList& parameters) const {
  Url result(*this);
  result.mPath.insert(result.mPath.end(), segments.begin(), segments.end());
  result.mUrlParameters = parameters;
  return result;
}

Url Url::toUrl(const string& a, const StringPairList& parameters) const {
  return impl::Extended(*this, {a}, parameters);
}

Url Url::toUrl(const string& a, const string& b, const StringPairList& parameters) const {
  return impl::Extended(*this, {a, b}, parameters);
}

Url Url::toUrl(const string& a, const string& b, const string& c, const StringPairList& parameters) const {
  return impl::Extended(*this, {a, b, c}, parameters);
}

Url Url::toUrl(const string& a, const string& b, const string& c, const string& d,
               const StringPairList& parameters) const {
  return impl::Extended(*this, {a, b, c, d}, parameters);
}

bool Url::fromEncodedUtf8String(const string& text, string* error, bool normalize) {
  // The text may be a field of this Url.
  Url parsed(CS_Empty);
  string reason;
  if (parsed.parse(text, normalize, reason)) {
    *this = std::move(parsed);
    return true;
  }
  clearUrl(CS_Empty);
  if (error != nullptr) {
    *error = reason;
  } else {
    LogDetail("url") << reason;
  }
  return false;
}

bool Url::parse(const string& text, bool normalize, string& error) {
  impl::ParsedUri uri;
  if (!uri.parse(text, error) || (normalize && !uri.normalize(error))) return false;
  mSchema = uri.getScheme();
  if (const std::string_view userInfo = uri.getUserInfo(); !userInfo.empty()) {
    const size_t colon = userInfo.find(':');
    if (colon == std::string_view::npos) {
      error = "invalid url user info, ':' is missing";
      return false;
    }
    // Straight into the fields, so that no copy is left behind.
    mUser = userInfo.substr(0, colon);
    mPassword = userInfo.substr(colon + 1);
  }
  setHost(string(uri.getHost()));
  mPort = ParsePort(uri.getPort());
  mPath = uri.getPathSegments();
  return uri.getQuery(mUrlParameters, error);
}

string Url::toEncodedUrl() const { return render(false); }

string Url::toDisplayableUrl() const { return render(true); }

string Url::render(bool displayable) const {
  string text = mSchema;
  text += "://";
  if (mAuthDbName.empty() && hasCredentials()) {
    text += displayable ? mUser : UrlEncodeFromUtf8String(mUser);
    text += ':';
    text += displayable ? "*******" : UrlEncodeFromUtf8String(mPassword);
    text += '@';
  }
  text += mHost;
  if (mPort != 0) text += ":" + qxStringUtils::fromUInt(mPort, 1);
  if (const string path = getEncodedPath(); !path.empty()) text.append(msPathSeparator).append(path);
  if (const string query = getQueryParameters(displayable); !query.empty()) text.append(1, '?').append(query);
  return text;
}

string Url::getQueryParameters(bool displayable) const {
  QueryText query(displayable);
  for (const auto& [key, value] : mUrlParameters) query.add(key, value);
  if (!mAuthDbName.empty() && hasCredentials()) {
    query.addSecret("user", mUser);
    query.addSecret("password", mPassword);
    query.add("authdbname", mAuthDbName);
  }
  return query.take();
}

}  // namespace qx
