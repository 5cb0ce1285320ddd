#include "netweft/base/system/internal/Charset.h"

#include <windows.h>

namespace qx::impl {
namespace {

UINT CodePage(qxStringUtils::qxCharSet charset) { return charset == qxStringUtils::CS_Utf8 ? CP_UTF8 : CP_ACP; }

}  // namespace

std::wstring BytesToWide(const string& text, qxStringUtils::qxCharSet from) {
  const int size = static_cast<int>(text.size());
  const int needed = MultiByteToWideChar(CodePage(from), 0, text.data(), size, nullptr, 0);
  std::wstring wide(static_cast<size_t>(needed), L'\0');
  MultiByteToWideChar(CodePage(from), 0, text.data(), size, wide.data(), needed);
  for (wchar_t& c : wide) {
    if (c == L'\xFFFD') c = L'?';
  }
  return wide;
}

string WideToBytes(const std::wstring& text, qxStringUtils::qxCharSet to) {
  const int size = static_cast<int>(text.size());
  const int needed = WideCharToMultiByte(CodePage(to), 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  string bytes(static_cast<size_t>(needed), '\0');
  WideCharToMultiByte(CodePage(to), 0, text.data(), size, bytes.data(), needed, nullptr, nullptr);
  return bytes;
}

}  // namespace qx::impl
