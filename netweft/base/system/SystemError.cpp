#include "netweft/base/system/SystemError.h"

#if defined(_WIN32)
#  include "netweft/base/system/internal/AsciiText.h"

#  include <system_error>
#else
#  include <cstring>
#endif

namespace qx {

string SystemError::toString() const {
#if defined(_WIN32)
  return string(impl::Trimmed(std::system_category().message(mCode)));
#else
  char buffer[256];
  return strerror_r(mCode, buffer, sizeof(buffer));
#endif
}

}  // namespace qx
