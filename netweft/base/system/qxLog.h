#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

#include <atomic>

namespace qx {

/// What kind of line it is. Detail lines are switched on channel by channel and are off from the start; warnings
/// and errors are on.
enum qxLogType : int32 {
  LT_Detail = 0,   ///< what happens, for somebody who looks for a cause
  LT_Warning = 2,  ///< something is odd, and the work goes on
  LT_Error = 3,    ///< something has failed
  LT_Dropped = 4,  ///< a line that is never written
};

/// One finished line as a sink gets it. All of it lives only for the call.
struct qxLogLine {
  qxLogType type;       ///< detail, warning or error
  const char* channel;  ///< never null; empty for warnings, errors and the unnamed channel
  const char* module;   ///< never null; empty when the line names none
  uint64 threadId;      ///< the operating system's number of the thread that wrote the line
  const string& text;   ///< as it was written: not escaped, not cut
};

/// Receives every line that is on, in place of the stderr writer. `write` is called from any thread, several at
/// once, and must not throw or log.
class NETWEFT_EXPORT qxLogSink {
 public:
  virtual ~qxLogSink();
  /// Gets one line; what `line` points at dies with the call.
  virtual void write(const qxLogLine& line) noexcept = 0;
};

/// The process's log. A line is written through a `qxLogObject`. Every operation may be called from any thread,
/// from process start to process end.
///
/// Without a sink a line goes to stderr in one write: UTC time with milliseconds, level, channel (or else module),
/// thread id, message; control characters of the message are escaped, so that a server's text cannot forge a line.
class NETWEFT_EXPORT qxLog {
 public:
  /// The channels of detail lines that the library uses; "" is the unnamed one.
  static const vector<string>& GetChannels();

  /// The one log; never null.
  static qxLog* editPtr();

  /// The current UTC time as text, for a human reader: "2026-06-30 12:34:56.789".
  static string GetTime();

  /// Switches the detail lines of one channel. False, with nothing changed, when there is no such channel.
  bool enableChannel(const string& channel, bool on);
  /// Warnings and errors are on from the start.
  void enableWarnings(bool on);
  void enableErrors(bool on);

  /// The sink stays the caller's; null goes back to stderr. When this returns, no line is inside the previous
  /// sink any more. Not to be called from inside a sink.
  void setSink(qxLogSink* sink);

  /// Costs one atomic load. A null channel is the unnamed one; an unknown channel is off.
  bool isEnabled(qxLogType type, const char* channel) const noexcept {
    const uint32 enabled = mEnabled.load(std::memory_order_relaxed);
    if (type == LT_Detail && (enabled & ~(sWarnings | sErrors)) == 0) return false;  // as nearly always
    return IsAmong(enabled, type, channel);
  }

  /// Emits one finished line, whatever is switched off.
  void emit(const qxLogLine& line) noexcept;

  qxLog(const qxLog&) = delete;
  qxLog& operator=(const qxLog&) = delete;

 private:
  static constexpr uint32 sWarnings = 1U << 30;
  static constexpr uint32 sErrors = 1U << 31;

  /// Made at compile time and never destroyed: static objects may write lines while they are made and while they die.
  constexpr qxLog() noexcept = default;
  ~qxLog() = default;

  static bool IsAmong(uint32 enabled, qxLogType type, const char* channel) noexcept;

  void switchBits(uint32 bits, bool on) noexcept;
  uint32 enterSink() noexcept;
  void leaveSink(uint32 generation) noexcept;

  struct Holder;
  static Holder sHolder;

  /// One bit for each channel, and those two.
  std::atomic<uint32> mEnabled{sWarnings | sErrors};

  /// One change at a time; no mutex, since not every platform makes one at compile time.
  std::atomic<bool> mChangingSink{false};
  /// Counts the changes of the sink; its lowest bit chooses between the two places below, so that lines on their way
  /// into the previous sink are counted apart.
  std::atomic<uint32> mGeneration{0};
  std::atomic<qxLogSink*> mSinks[2]{};
  std::atomic<uint32> mInside[2]{};
};

}  // namespace qx
