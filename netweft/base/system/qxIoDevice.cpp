#include "netweft/base/system/qxIoDevice.h"

#include <cstring>

namespace qx {

qxIoDevice::~qxIoDevice() = default;

qxIoDevice& qxIoDevice::operator<<(const string& text) {
  writeBytes(text.data(), text.size());
  return *this;
}

qxIoDevice& qxIoDevice::operator<<(const char* text) {
  if (text != nullptr) writeBytes(text, std::strlen(text));
  return *this;
}

}  // namespace qx
