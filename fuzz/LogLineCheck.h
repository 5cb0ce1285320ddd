#pragma once

#include "fuzz/Require.h"
#include "netweft/base/system/internal/LogStderr.h"

#include <algorithm>

namespace qx::fuzz {

/// Takes the place of the log while it lives: nothing is written, but each line, which may hold any part of the input,
/// must be one line of plain characters on a terminal.
class LogLineCheck final : public qxLogSink {
 public:
  LogLineCheck() { qxLog::editPtr()->setSink(this); }
  LogLineCheck(const LogLineCheck&) = delete;
  LogLineCheck& operator=(const LogLineCheck&) = delete;
  ~LogLineCheck() override { qxLog::editPtr()->setSink(nullptr); }

  void write(const qxLogLine& line) noexcept override {
    const string text = impl::FormatLine(line);
    Require(!text.empty() && text.back() == '\n', "a line of the log has an end");
    Require(std::none_of(text.begin(), text.end() - 1, IsControl), "a line of the log has no control characters");
    Require(!HasWideControl(text), "nor those that take two bytes");
  }

 private:
  static bool IsControl(char c) { return (c >= 0 && c < 0x20) || c == 0x7f; }

  /// U+0080 to U+009F, of which one begins a terminal's commands.
  static bool HasWideControl(const string& text) {
    for (size_t at = text.find('\xc2'); at != string::npos; at = text.find('\xc2', at + 1)) {
      if (static_cast<unsigned char>(text[at + 1]) < 0xa0) return true;
    }
    return false;
  }
};

}  // namespace qx::fuzz
