#pragma once

#include "netweft/base/system/qxLog.h"

#include <mutex>
#include <ostream>

namespace qx::test {

/// One line as a test compares it.
struct CapturedLine {
  qxLogType type;
  string channel;
  string text;
  string module;

  bool operator==(const CapturedLine& other) const {
    return type == other.type && channel == other.channel && text == other.text;
  }
};

/// For readable failures.
std::ostream& operator<<(std::ostream& out, const CapturedLine& line);

inline CapturedLine Detail(string channel, string text) { return {LT_Detail, std::move(channel), std::move(text), ""}; }
inline CapturedLine Warning(string text) { return {LT_Warning, "", std::move(text), ""}; }
inline CapturedLine Error(string text) { return {LT_Error, "", std::move(text), ""}; }

/// While it lives, the log goes here with every channel switched on. One at a time in a process.
class LogCapture final : public qxLogSink {
 public:
  LogCapture();
  ~LogCapture() override;

  void write(const qxLogLine& line) noexcept override;

  /// A copy of all lines so far, in order.
  vector<CapturedLine> getLines() const;
  /// Those of one type.
  vector<CapturedLine> getLines(qxLogType type) const;
  /// True when a line of that type holds `part`.
  bool contains(qxLogType type, const string& part) const;
  uint64 count(const CapturedLine& line) const;
  void clear();

 private:
  mutable std::mutex mMutex;
  vector<CapturedLine> mLines;
};

}  // namespace qx::test
