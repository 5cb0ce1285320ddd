#include "netweft/jwt/StringListToScope.h"

#include "netweft/addressing/Url.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"

#include <utf8.h>

namespace qx::jwt {

namespace {

/// What RFC 6749 lets a scope token hold.
bool IsScopeCharacter(char32_t c) { return c == 0x21 || (c >= 0x23 && c <= 0x7E && c != 0x5C); }

/// Throws what utfcpp throws on text that is not UTF-8.
string EscapeTag(const string& tag) {
  string out;
  for (auto it = tag.begin(); it != tag.end();) {
    const auto start = it;
    if (IsScopeCharacter(static_cast<char32_t>(utf8::next(it, tag.end())))) {
      out.append(start, it);
    } else {
      out += Url::UrlEncodeFromUtf8String(string(start, it));
    }
  }
  return out;
}

string EscapeTagOrLog(const string& tag) {
  try {
    return EscapeTag(tag);
  } catch (const utf8::exception& exception) {
    LogDetail("") << "Fail to convert tag '" << tag << "' to scope " << exception.what();
  }
  return {};
}

}  // namespace

string StringListToScope(const vector<string>& tags) {
  string scope;
  for (string tag : tags) {
    const string escaped = EscapeTagOrLog(qxStringUtils::trim(tag));
    if (escaped.empty()) continue;
    if (!scope.empty()) scope += ' ';
    scope += escaped;
  }
  return scope;
}

}  // namespace qx::jwt
