#pragma once

#include "netweft/base/system/qxLog.h"

namespace qx::impl {

/// Writes one line to stderr in one write; without memory it is lost. Any thread.
void WriteLineToStderr(const qxLogLine& line) noexcept;

/// The line as it stands on stderr, its end included.
string FormatLine(const qxLogLine& line);

/// Control characters (C0, DEL, and C1 in UTF-8) and bytes that are not UTF-8 as escapes such as \n and \x1b.
string EscapeForTerminal(const string& text);

}  // namespace qx::impl
