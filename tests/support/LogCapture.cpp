#include "tests/support/LogCapture.h"

#include "tests/support/FaultExemption.h"

#include <algorithm>

namespace qx::test {

std::ostream& operator<<(std::ostream& out, const CapturedLine& line) {
  return out << "{type " << line.type << ", channel \"" << line.channel << "\", \"" << line.text << "\"}";
}

LogCapture::LogCapture() {
  for (const string& channel : qxLog::GetChannels()) qxLog::editPtr()->enableChannel(channel, true);
  qxLog::editPtr()->setSink(this);
}

LogCapture::~LogCapture() {
  qxLog::editPtr()->setSink(nullptr);
  for (const string& channel : qxLog::GetChannels()) qxLog::editPtr()->enableChannel(channel, false);
}

void LogCapture::write(const qxLogLine& line) noexcept {
  const FaultExemption own;
  const std::lock_guard lock(mMutex);
  mLines.push_back({line.type, line.channel, line.text, line.module});
}

vector<CapturedLine> LogCapture::getLines() const {
  const std::lock_guard lock(mMutex);
  return mLines;
}

vector<CapturedLine> LogCapture::getLines(qxLogType type) const {
  vector<CapturedLine> lines = getLines();
  std::erase_if(lines, [type](const CapturedLine& line) { return line.type != type; });
  return lines;
}

bool LogCapture::contains(qxLogType type, const string& part) const {
  const vector<CapturedLine> lines = getLines(type);
  return std::any_of(lines.begin(), lines.end(),
                     [&part](const CapturedLine& line) { return line.text.find(part) != string::npos; });
}

uint64 LogCapture::count(const CapturedLine& line) const {
  const vector<CapturedLine> lines = getLines();
  return static_cast<uint64>(std::count(lines.begin(), lines.end(), line));
}

void LogCapture::clear() {
  const std::lock_guard lock(mMutex);
  mLines.clear();
}

}  // namespace qx::test
