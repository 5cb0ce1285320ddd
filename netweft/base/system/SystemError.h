#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// An error code of the operating system (errno on POSIX, GetLastError on Windows) and its message.
class NETWEFT_EXPORT SystemError {
 public:
  /// Keeps the code; looks nothing up.
  explicit SystemError(int code) noexcept : mCode(code) {}

  /// The system's own message, without a line end.
  string toString() const;

 private:
  int mCode;
};

}  // namespace qx
