#pragma once

#include "netweft/base/system/qxLog.h"

#include <concepts>
#include <sstream>

namespace qx {

/// One line of the log, on the stack: opened by the constructor, emitted whole by the destructor. A line that is
/// switched off has the type `LT_Dropped` from construction on, formats nothing and allocates nothing. Numbers
/// are written in the "C" locale. It never fails its caller.
///
///   qxLogObject(LT_Detail, "http", qxLog::editPtr(), nullptr) << "Http GET error " << text;
class NETWEFT_EXPORT qxLogObject {
 public:
  /// `channel` and `module` may be null and must outlive the object. With a null `log` the line goes straight to
  /// stderr, past any sink and switch: for errors raised before the log is usable.
  qxLogObject(qxLogType type, const char* channel, qxLog* log, const char* module)
      : mType(IsOn(type, channel, log) ? type : LT_Dropped), mChannel(channel), mModule(module), mLog(log) {}
  qxLogObject(const qxLogObject&) = delete;
  qxLogObject& operator=(const qxLogObject&) = delete;
  ~qxLogObject() {
    if (mType != LT_Dropped) finish();
  }

  /// Null appends nothing.
  qxLogObject& operator<<(const char* text) {
    if (text == nullptr) return *this;
    if (std::ostream* stream = editStream()) *stream << text;
    return *this;
  }

  /// The whole text, a NUL inside it too.
  qxLogObject& operator<<(const string& text) {
    if (std::ostream* stream = editStream()) stream->write(text.data(), static_cast<std::streamsize>(text.size()));
    return *this;
  }

  /// In decimal; a `char` is its character.
  template <class Number>
    requires(std::integral<Number> || std::floating_point<Number>)
  qxLogObject& operator<<(Number number) {
    if (std::ostream* stream = editStream()) *stream << number;
    return *this;
  }

 private:
  /// With no log at hand there are no switches either: only a dropped line stays off.
  static bool IsOn(qxLogType type, const char* channel, const qxLog* log) noexcept {
    return log != nullptr ? log->isEnabled(type, channel) : type != LT_Dropped;
  }
  void finish() noexcept;
  /// Null when the line is dropped.
  std::ostream* editStream() noexcept {
    if (mType == LT_Dropped) return nullptr;
    return mStream != nullptr ? mStream.get() : makeStream();
  }
  /// At the first append; without memory the line is dropped.
  std::ostream* makeStream() noexcept;

  qxLogType mType;
  const char* mChannel;
  const char* mModule;
  qxLog* mLog;
  unique_ptr<std::ostringstream> mStream;
};

/// The three kinds of line as the library writes them.
inline qxLogObject LogDetail(const char* channel) { return {LT_Detail, channel, qxLog::editPtr(), nullptr}; }
inline qxLogObject LogWarning() { return {LT_Warning, nullptr, qxLog::editPtr(), nullptr}; }
inline qxLogObject LogError() { return {LT_Error, nullptr, qxLog::editPtr(), nullptr}; }

/// Text that came from a peer, cut to what a log line may hold (4 KiB, and a mark where it was cut).
NETWEFT_EXPORT string CutForLog(const string& text);

}  // namespace qx
