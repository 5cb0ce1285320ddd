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

const char* OrEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

void qxLogObject::finish() noexcept {
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
