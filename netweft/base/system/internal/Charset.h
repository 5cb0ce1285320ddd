#pragma once

#include "netweft/base/system/qxStringUtils.h"

/// The operating system's conversions between bytes and wide text. What cannot be expressed becomes "?". Any thread.
namespace qx::impl {

std::wstring BytesToWide(const string& text, qxStringUtils::qxCharSet from);
string WideToBytes(const std::wstring& text, qxStringUtils::qxCharSet to);

}  // namespace qx::impl
