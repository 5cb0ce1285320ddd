#include "netweft/base/json/internal/JsonOutput.h"

#include "netweft/base/system/qxIoDevice.h"

namespace qx::json {

JsonOutput::JsonOutput(qxIoDevice* device)
    : mText(mBuffer), mDevice(device), mFailed(device == nullptr || device->hasError()) {}

bool JsonOutput::flush() {
  if (mDevice == nullptr || mFailed) {
    mBuffer.clear();
    return !mFailed;
  }
  const uint64 size = mBuffer.size();
  mFailed = (size != 0 && mDevice->writeBytes(mBuffer.data(), size) != size) || mDevice->hasError();
  mBuffer.clear();
  return !mFailed;
}

}  // namespace qx::json
