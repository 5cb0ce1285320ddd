#include "netweft/base/system/internal/Charset.h"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace qx::impl {
namespace {

constexpr const char* sWide = "WCHAR_T";

/// That of the environment and not of the process's locale, which a host may never have set.
string LocalCodeSet() {
  const locale_t environment = newlocale(LC_CTYPE_MASK, "", nullptr);
  if (environment == nullptr) return "UTF-8";
  string name = nl_langinfo_l(CODESET, environment);
  freelocale(environment);
  return name;
}

string CodeSetName(qxStringUtils::qxCharSet charset) {
  return charset == qxStringUtils::CS_Utf8 ? "UTF-8" : LocalCodeSet();
}

class Converter {
 public:
  Converter(const string& to, const string& from) : mHandle(iconv_open(to.c_str(), from.c_str())) {}
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter() {
    if (isOpen()) iconv_close(mHandle);
  }

  bool isOpen() const {
    return mHandle !=
           reinterpret_cast<iconv_t>(-1);  // NOLINT(performance-no-int-to-ptr): so iconv_open says that it failed
  }

  /// Converts bytes to bytes. An input unit of `unit` bytes that has no counterpart gives `substitute`.
  string convert(std::string_view input, size_t unit, std::string_view substitute) const {
    string out;
    char* next = const_cast<char*>(input.data());
    size_t left = input.size();
    while (left != 0) {
      char buffer[1024];
      char* end = buffer;
      size_t room = sizeof(buffer);
      const size_t result = iconv(mHandle, &next, &left, &end, &room);
      const int error = errno;
      out.append(buffer, end);
      if (result != static_cast<size_t>(-1) || error == E2BIG) continue;
      out += substitute;
      next += std::min(unit, left);
      left -= std::min(unit, left);
    }
    return out;
  }

 private:
  iconv_t mHandle;
};

template <class Char>
std::string_view AsBytes(const std::basic_string<Char>& text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(Char)};
}

}  // namespace

std::wstring BytesToWide(const string& text, qxStringUtils::qxCharSet from) {
  const Converter converter(sWide, CodeSetName(from));
  const std::wstring substitute = L"?";
  if (!converter.isOpen()) return std::wstring(text.size(), substitute[0]);
  const string raw = converter.convert(text, 1, AsBytes(substitute));
  std::wstring wide(raw.size() / sizeof(wchar_t), L'\0');
  raw.copy(reinterpret_cast<char*>(wide.data()), raw.size());
  return wide;
}

string WideToBytes(const std::wstring& text, qxStringUtils::qxCharSet to) {
  const Converter converter(CodeSetName(to), sWide);
  if (!converter.isOpen()) return string(text.size(), '?');
  return converter.convert(AsBytes(text), sizeof(wchar_t), "?");
}

}  // namespace qx::impl
