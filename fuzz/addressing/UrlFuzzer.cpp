#include "netweft/addressing/Url.h"

#include "fuzz/Require.h"
#include "fuzz/Target.h"

/// Any text: what was accepted as a URL with scheme and host renders to a text that is accepted, too, and gives the
/// same Url, which renders to the same text again; and what is displayed does not depend on its secrets.
namespace qx::fuzz {
namespace {

/// Two exceptions that are known: credentials that were parsed stay escaped, so that each rendering escapes them once
/// more; and an address of a future version loses its brackets, without which its colons are a port.
bool RendersStably(const Url& url) {
  return url.isValid() && (url.getHost().front() == '[' || url.getHost().find(':') == string::npos);
}

/// Without credentials, whose rendering is not stable, and with the path of "http://h", which "http://h/" shares.
Url ToRendered(Url url) {
  url.clearCredentials();
  if (url.getPath() == vector<string>{""}) url.editPath().clear();
  return url;
}

void CheckRoundTrip(const Url& url) {
  const string rendered = url.toEncodedUrl();
  Url again(Url::CS_Empty);
  Require(again.fromEncodedUtf8String(rendered, nullptr, false), "a rendered URL is accepted");
  Require(again == url && again.getUrlParameters() == url.getUrlParameters(), "a rendered URL gives the same Url");
  Require(again.toEncodedUrl() == rendered, "a rendered URL renders the same way again");
}

bool IsSecret(const string& key) {
  return key.find("secret") != string::npos || key.find("pwd") != string::npos || key.find("password") != string::npos;
}

void CheckDisplay(const Url& url) {
  Url other(url);
  other.setCredentialsOnHttpHeaders(url.getUser(), url.getPassword().empty() ? "" : "another");
  for (auto& [key, value] : other.editUrlParameters()) {
    if (IsSecret(key)) value = "another";
  }
  Require(other.toDisplayableUrl() == url.toDisplayableUrl(), "what is displayed does not depend on the secrets");
  Require(other.getQueryParameters(true) == url.getQueryParameters(true), "nor does the query");

  Url inQuery(url);
  inQuery.setCredentialsOnQueryParameter("somebody", "one", "db");
  other.setCredentialsOnQueryParameter("somebody else", "another", "db");
  Require(other.toDisplayableUrl() == inQuery.toDisplayableUrl(), "nor on credentials in the query");
}

void CheckEscaping(const string& text) {
  const string escaped = Url::UrlEncodeFromUtf8String(text);
  Require(Url::UrlDecodeToUtf8String(escaped) == text, "escaping loses nothing");
  vector<string> path;
  Url::FromEncodedPath(text, path);
  const string rendered = Url::ToEncodedPath(path);
  Require(rendered.find('\0') == string::npos, "a NUL is escaped");
  vector<string> again;
  Url::FromEncodedPath(rendered, again);
  Require(again == path, "a rendered path gives the same segments");
}

void CheckText(std::string_view bytes) {
  const string text(bytes);
  CheckEscaping(text);
  for (const bool normalize : {false, true}) {
    Url url(Url::CS_Empty);
    string error;
    if (!url.fromEncodedUtf8String(text, &error, normalize)) {
      Require(!error.empty(), "a failure has a reason");
      continue;
    }
    CheckDisplay(url);
    if (RendersStably(url)) CheckRoundTrip(ToRendered(url));
  }
}

const Target sTarget("url", CheckText);

}  // namespace
}  // namespace qx::fuzz
