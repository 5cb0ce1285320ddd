#include "netweft/http/qxIoDeviceHttpChuncked.h"

#include "netweft/base/system/qxLogObject.h"

#include <algorithm>
#include <locale>

namespace qx::http {

namespace {

constexpr int sKind = 1025;
constexpr char sLineEnd[] = {'\r', '\n'};
constexpr char sStreamEnd[] = {'0', '\r', '\n', '\r', '\n'};

}  // namespace

qxIoDeviceHttpChuncked::qxIoDeviceHttpChuncked(unsigned int maxChunkSize)
    : qxIoDeviceDelegable(DF_Write, sKind), mMaxChunkSize(maxChunkSize) {
  mPendingBytes.reserve(mMaxChunkSize);
  mSizeFormatter.imbue(std::locale::classic());  // a grouping locale would write "10,000"
  mSizeFormatter << std::hex;
}

qxIoDeviceHttpChuncked::~qxIoDeviceHttpChuncked() = default;

void qxIoDeviceHttpChuncked::setMaxChunkSize(unsigned int maxChunkSize) {
  mMaxChunkSize = maxChunkSize;
  mPendingBytes.reserve(mMaxChunkSize);
}

bool qxIoDeviceHttpChuncked::beginDelegation(qxIoDevice* target) {
  if (mDelegate != nullptr) {
    mFailed = true;
    return false;
  }
  clearDelegation();
  mFailed = false;
  mDelegate = target;
  return true;
}

uint64 qxIoDeviceHttpChuncked::writeBytes(const char* data, uint64 size) {
  if (mDelegate == nullptr) {
    mFailed = true;
    return 0;
  }
  if (mMaxChunkSize != 0) {
    gather(data, size);
  } else {
    writeChunk(nullptr, 0);
    writeChunk(data, size);
  }
  return hasError() ? 0 : size;
}

// A chunk leaves only when a byte comes that has no room in it: so the last one leaves with the end of the stream.
void qxIoDeviceHttpChuncked::gather(const char* data, uint64 size) {
  while (size > 0) {
    const uint64 pending = mPendingBytes.size();
    const uint64 space = pending < mMaxChunkSize ? mMaxChunkSize - pending : 0;
    const uint64 take = std::min(space, size);
    if (take < size) {
      writeChunk(data, take);
    } else {
      mPendingBytes.insert(mPendingBytes.end(), data, data + take);
    }
    data += take;
    size -= take;
  }
}

void qxIoDeviceHttpChuncked::writeChunk(const char* data, uint64 size) {
  const uint64 total = mPendingBytes.size() + size;
  if (total == 0) return;
  mSizeFormatter.str({});
  mSizeFormatter << total;
  const string sizeText = mSizeFormatter.str();
  mDelegate->writeBytes(sizeText.data(), sizeText.size());
  mDelegate->writeBytes(sLineEnd, sizeof(sLineEnd));
  if (!mPendingBytes.empty()) mDelegate->writeBytes(mPendingBytes.data(), mPendingBytes.size());
  if (size != 0) mDelegate->writeBytes(data, size);
  mDelegate->writeBytes(sLineEnd, sizeof(sLineEnd));
  mPendingBytes.clear();
}

bool qxIoDeviceHttpChuncked::endDelegation() {
  bool good = false;
  if (mDelegate != nullptr && !mFailed) {
    writeChunk(nullptr, 0);
    mDelegate->writeBytes(sStreamEnd, sizeof(sStreamEnd));
    good = mDelegate->good();
  }
  clearDelegation();
  return good;
}

void qxIoDeviceHttpChuncked::clearDelegation() {
  mPendingBytes.clear();
  mDelegate = nullptr;
}

bool qxIoDeviceHttpChuncked::hasError() const { return mFailed || (mDelegate != nullptr && mDelegate->hasError()); }

void qxIoDeviceHttpChuncked::refuse(const char* operation) const {
  LogError() << "qxIoDeviceHttpChuncked::" << operation << " not implemented";
}

uint64 qxIoDeviceHttpChuncked::readBytes(char*, uint64) {
  refuse("readBytes");
  mFailed = true;
  return 0;
}

bool qxIoDeviceHttpChuncked::atEnd() const {
  refuse("atEnd");
  return true;
}

bool qxIoDeviceHttpChuncked::seekg(int64, SeekStart) {
  refuse("seekg");
  mFailed = true;
  return false;
}

bool qxIoDeviceHttpChuncked::seekp(int64, SeekStart) {
  refuse("seekp");
  mFailed = true;
  return false;
}

uint64 qxIoDeviceHttpChuncked::tellg() {
  refuse("tellg");
  mFailed = true;
  return 0;
}

uint64 qxIoDeviceHttpChuncked::tellp() {
  refuse("tellp");
  mFailed = true;
  return 0;
}

}  // namespace qx::http
