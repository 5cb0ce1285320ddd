// Writes the log's lines to a stream of its own, as "level channel text".
#include "netweft/netweft.h"

#include <iostream>
#include <mutex>

namespace {

// [sink]
class StreamSink final : public qx::qxLogSink {
 public:
  explicit StreamSink(std::ostream& out) : mOut(out) {}

  void write(const qx::qxLogLine& line) noexcept override {
    const std::lock_guard lock(mMutex);  // lines come from many threads at once
    mOut << (line.type == qx::LT_Error     ? "error"
             : line.type == qx::LT_Warning ? "warning"
                                           : "detail")
         << ' ' << line.channel << ' ' << line.text << '\n';
  }

 private:
  std::ostream& mOut;
  std::mutex mMutex;
};
// [sink]

}  // namespace

int main() {
  // [install]
  StreamSink sink(std::cout);
  qx::qxLog* log = qx::qxLog::editPtr();
  log->setSink(&sink);
  log->enableChannel("esriver", true);
  log->enableChannel("http", true);
  // [install]
  // [write]
  qx::LogDetail("http") << "asked " << 3 << " times";
  qx::LogWarning() << "the disk is nearly full";
  // [write]
  // [remove]
  log->setSink(nullptr);  // when this returns, no thread is inside the sink any more
  // [remove]
}
