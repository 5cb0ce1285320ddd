#include "netweft/base/json/internal/JsonOutput.h"

#include "netweft/base/system/qxIoDevice.h"

namespace qx::json {

JsonOutput::JsonOutput(qxIoDevice* device) : mDevice(device), mFailed(device == nullptr || device->hasError()) {}

bool JsonOutput::flush() {
  handOver();
  if (mDevice != nullptr && mDevice->hasError()) mFailed = true;
  return !mFailed;
}

void JsonOutput::handOver() {
  const size_t size = mSize;
  mSize = 0;
  handOver({mBuffer.data(), size});
}

void JsonOutput::handOver(std::string_view text) {
  if (mFailed || text.empty()) return;
  if (mText != nullptr) {
    mText->append(text);
  } else {
    mFailed = mDevice->writeBytes(text.data(), text.size()) != text.size() || mDevice->hasError();
  }
}

void JsonOutput::putBehindBuffer(std::string_view text) {
  handOver();
  if (text.size() >= sRoom) {
    handOver(text);
  } else {
    put(text);
  }
}

}  // namespace qx::json
