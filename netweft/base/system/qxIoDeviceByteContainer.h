#pragma once

#include "netweft/base/system/qxIoDevice.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace qx {

/// Reads from and writes into a container of bytes (`bytes`, or any contiguous container of `char` with
/// `data`, `size` and `resize`) that stays the caller's and must outlive the device.
///
/// Writing overwrites what stands at the write position and grows the container as needed. `tellg` gives the
/// read position, `tellp` the size of the container and not the write position: callers ask it how much there
/// is. Errors come from seeking alone, and stay.
template <class Bytes>
class qxIoDeviceByteContainer : public qxIoDevice {
 public:
  /// Both positions at the first byte.
  explicit qxIoDeviceByteContainer(Bytes* container) noexcept : mContainer(container) {}

  uint64 readBytes(char* dst, uint64 n) override {
    const uint64 size = mContainer->size();
    const uint64 count = mReadPosition >= size ? 0 : std::min(n, size - mReadPosition);
    if (count != 0) std::memcpy(dst, mContainer->data() + mReadPosition, static_cast<size_t>(count));
    mReadPosition += count;
    return count;
  }

  uint64 writeBytes(const char* src, uint64 n) override {
    if (n == 0) return 0;
    if (mWritePosition + n > mContainer->size()) mContainer->resize(static_cast<size_t>(mWritePosition + n));
    std::memcpy(mContainer->data() + mWritePosition, src, static_cast<size_t>(n));
    mWritePosition += n;
    return n;
  }

  /// A seek has left the data.
  bool hasError() const override { return mError; }
  /// The read position is behind the last byte.
  bool atEnd() const override { return mReadPosition >= mContainer->size(); }
  bool seekg(int64 offset, SeekStart from) override { return seek(mReadPosition, offset, from); }
  bool seekp(int64 offset, SeekStart from) override { return seek(mWritePosition, offset, from); }
  uint64 tellg() override { return mReadPosition; }
  uint64 tellp() override { return mContainer->size(); }

 private:
  /// A position outside the data, on either side, is clamped and is an error.
  bool seek(uint64& position, int64 offset, SeekStart from) {
    const uint64 size = mContainer->size();
    uint64 base = position;
    switch (from) {
      case SS_Begin: base = 0; break;
      case SS_Current: break;
      case SS_End: base = size; break;
      default:
        mError = true;
        position = std::min(position, size);
        return good();
    }
    const uint64 distance = offset < 0 ? uint64{0} - static_cast<uint64>(offset) : static_cast<uint64>(offset);
    const bool under = offset < 0 && distance > base;
    const bool over = offset >= 0 && distance > std::numeric_limits<uint64>::max() - base;
    const uint64 target = under  ? 0
                          : over ? std::numeric_limits<uint64>::max()
                                 : (offset < 0 ? base - distance : base + distance);
    if (under || target > size) mError = true;
    position = std::min(target, size);
    return good();
  }

  Bytes* mContainer;
  uint64 mReadPosition = 0;
  uint64 mWritePosition = 0;
  bool mError = false;
};

}  // namespace qx
