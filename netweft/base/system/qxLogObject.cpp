#include "netweft/base/system/qxLogObject.h"

#include "netweft/base/system/internal/LogStderr.h"
#include "netweft/base/system/internal/ThreadPlatform.h"
#include "netweft/base/system/internal/Utf8.h"
#include "netweft/base/system/qxStringUtils.h"

#include <cerrno>
#include <locale>

namespace qx {
namespace {

constexpr size_t sLargestPeerText = 4096;

/// With no log at hand there are no switches either: only a dropped line stays off.
qxLogType TypeAtStart(qxLogType type, const char* channel, const qxLog* log) {
  const bool on = log != nullptr ? log->isEnabled(type, channel) : type != LT_Dropped;
  return on ? type : LT_Dropped;
}

const char* OrEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

qxLogObject::qxLogObject(qxLogType type, const char* channel, qxLog* log, const char* module)
    : mType(TypeAtStart(type, channel, log)), mChannel(channel), mModule(module), mLog(log) {}

qxLogObject::~qxLogObject() {
  if (mType == LT_Dropped) return;
  // Lines are written between a failed call and the look at its error.
  const int error = errno;
  try {
    const string text = mStream != nullptr ? std::move(*mStream).str() : string();
    const qxLogLine line{mType, OrEmpty(mChannel), OrEmpty(mModule), impl::CurrentThreadId(), text};
    if (mLog != nullptr) {
      mLog->emit(line);
    } else {
      impl::WriteLineToStderr(line);
    }
  } catch (...) {
    // Without memory the line is lost; its caller must not be.
  }
  errno = error;
}

qxLogObject& qxLogObject::operator<<(const char* text) {
  if (text == nullptr) return *this;
  if (std::ostream* stream = editStream()) *stream << text;
  return *this;
}

std::ostream* qxLogObject::makeStream() noexcept try {
  auto stream = std::make_unique<std::ostringstream>();
  stream->imbue(std::locale::classic());
  mStream = std::move(stream);
  return mStream.get();
} catch (...) {
  mType = LT_Dropped;
  return nullptr;
}

string CutForLog(const string& text) {
  if (text.size() <= sLargestPeerText) return text;
  return text.substr(0, impl::Utf8CutLength(text, sLargestPeerText)) + " [cut, " +
         qxStringUtils::fromUInt64(text.size(), 1) + " bytes in all]";
}

}  // namespace qx
