#include "netweft/netweft.h"

#include <iostream>

int main() {
  qx::bytes encoded;
  qx::qxIoDeviceByteContainer<qx::bytes> target(&encoded);
  qx::http::qxIoDeviceHttpChuncked chunked(16);
  if (!chunked.beginDelegation(&target)) return 1;
  chunked << "gathered, "
          << "and sent in chunks of sixteen bytes";
  if (!chunked.endDelegation()) return 1;  // nothing that was written can be trusted: the stream has no end
  std::cout.write(encoded.data(), static_cast<std::streamsize>(encoded.size()));
}
