// Any text: parsing never crashes, and what was accepted as a URL with scheme and host renders to a text that is
// accepted too and gives the same Url, which renders to the same text again.

#include "netweft/addressing/Url.h"

#include <cstdint>
#include <cstdlib>
#include <iostream>

namespace {

using qx::Url;

void Require(bool condition, const char* what, const std::string& first, const std::string& second) {
  if (condition) return;
  std::cerr << what << "\n  " << first << "\n  " << second << "\n";
  std::abort();
}

/// Two exceptions that are known: credentials that were parsed stay escaped, so that each rendering escapes them once
/// more; and an address of a future version loses its brackets, without which its colons are a port.
bool RendersStably(const Url& url) {
  return url.isValid() && (url.getHost().front() == '[' || url.getHost().find(':') == std::string::npos);
}

void CheckRoundTrip(Url url) {
  url.clearCredentials();
  const std::string first = url.toEncodedUrl();
  Url again(Url::CS_Empty);
  std::string error;
  Require(again.fromEncodedUtf8String(first, &error, false), "a rendered URL is refused", first, error);
  const std::string second = again.toEncodedUrl();
  Require(first == second, "a rendered URL changes", first, second);
  Require(again.getUrlParameters() == url.getUrlParameters(), "the query changes", first, second);
  Require(again.getHost() == url.getHost(), "the host changes", first, second);
}

void CheckEscaping(const std::string& text) {
  const std::string escaped = Url::UrlEncodeFromUtf8String(text);
  Require(Url::UrlDecodeToUtf8String(escaped) == text, "escaping loses something", text, escaped);
  std::vector<std::string> path;
  Url::FromEncodedPath(text, path);
  Url::FromEncodedPath(Url::ToEncodedPath(path), path);
  Require(Url::ToEncodedPath(path).find('\0') == std::string::npos, "a NUL is not escaped", text, escaped);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CheckEscaping(text);
  for (const bool normalize : {false, true}) {
    Url url(Url::CS_Empty);
    std::string error;
    if (!url.fromEncodedUtf8String(text, &error, normalize)) {
      Require(!error.empty(), "a failure without a reason", text, error);
      continue;
    }
    static_cast<void>(url.toDisplayableUrl());
    if (RendersStably(url)) CheckRoundTrip(url);
  }
  return 0;
}
