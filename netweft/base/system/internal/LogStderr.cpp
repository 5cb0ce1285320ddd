#include "netweft/base/system/internal/LogStderr.h"

#include "netweft/base/system/internal/Utf8.h"
#include "netweft/base/system/qxStringUtils.h"

#include <algorithm>
#include <cerrno>

#if defined(_WIN32)
#  include <io.h>
#else
#  include <unistd.h>
#endif

namespace qx::impl {
namespace {

const char* LevelName(qxLogType type) {
  switch (type) {
    case LT_Warning: return "WARNING";
    case LT_Error: return "ERROR";
    default: return "DETAIL";
  }
}

const char* Origin(const qxLogLine& line) {
  if (*line.channel != '\0') return line.channel;
  return *line.module != '\0' ? line.module : "-";
}

void AppendEscaped(string& out, std::string_view sequence) {
  if (sequence == "\n") {
    out += "\\n";
  } else if (sequence == "\r") {
    out += "\\r";
  } else if (sequence == "\t") {
    out += "\\t";
  } else {
    string digits;
    for (const char& byte : sequence) {
      qxStringUtils::ToHex(&byte, 1, digits);
      out += "\\x" + digits;
    }
  }
}

bool IsControl(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence[0]);
  if (sequence.size() == 1) return first < 0x20 || first >= 0x7F;
  return first == 0xC2 && static_cast<unsigned char>(sequence[1]) < 0xA0;
}

}  // namespace

string EscapeForTerminal(const string& text) {
  const std::string_view all(text);
  string out;
  out.reserve(text.size());
  for (size_t i = 0; i < all.size();) {
    const std::string_view sequence = all.substr(i, std::max<size_t>(Utf8SequenceLength(all, i), 1));
    if (IsControl(sequence)) {
      AppendEscaped(out, sequence);
    } else {
      out += sequence;
    }
    i += sequence.size();
  }
  return out;
}

string FormatLine(const qxLogLine& line) {
  string text = qxLog::GetTime();
  text += ' ';
  text += LevelName(line.type);
  text += " [";
  text += EscapeForTerminal(Origin(line));
  text += "] ";
  text += qxStringUtils::fromUInt64(line.threadId, 1);
  text += ' ';
  text += EscapeForTerminal(line.text);
  text += '\n';
  return text;
}

void WriteLineToStderr(const qxLogLine& line) noexcept try {
  const string text = FormatLine(line);
#if defined(_WIN32)
  _write(2, text.data(), static_cast<unsigned int>(text.size()));
#else
  while (::write(STDERR_FILENO, text.data(), text.size()) < 0 && errno == EINTR) {
  }
#endif
} catch (...) {
}

}  // namespace qx::impl
