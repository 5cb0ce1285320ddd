#pragma once

#include "netweft/base/system/qxTypes.h"

#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

namespace qx {
class qxIoDevice;
}

namespace qx::json {

/// Where JSON text goes: a string of the caller's or a device, by way of a buffer of 16 KiB, so that a small piece is
/// only stored and the target gets few large ones. What is in the buffer when this dies is dropped: `flush` comes last.
/// One thread at a time.
class JsonOutput {
 public:
  /// Appends to `target`, which must outlive this.
  explicit JsonOutput(string& target) : mText(&target) {}

  /// Writes to `device`, which must outlive this. Null has failed from the start.
  explicit JsonOutput(qxIoDevice* device);
  JsonOutput(const JsonOutput&) = delete;
  JsonOutput& operator=(const JsonOutput&) = delete;

  void put(char c) {
    if (mSize == sRoom) handOver();
    mBuffer[mSize++] = c;
  }

  void put(std::string_view text) {
    if (text.size() > sRoom - mSize) return putBehindBuffer(text);
    Copy(text, mBuffer.data() + mSize);
    mSize += text.size();
  }

  /// In decimal digits, with a minus where one is due.
  void putInteger(int64 value) {
    if (sRoom - mSize < sLongestInteger) handOver();
    const auto end = std::to_chars(mBuffer.data() + mSize, mBuffer.data() + sRoom, value).ptr;
    mSize = static_cast<size_t>(end - mBuffer.data());
  }

  void putBlanks(size_t count) {
    for (; count != 0; --count) put(' ');
  }

  /// Hands over all that is left. False when the device has an error or has taken too little, now or earlier; what
  /// comes after that is dropped.
  bool flush();
  bool failed() const { return mFailed; }

 private:
  static constexpr size_t sRoom = size_t{16} * 1024;
  static constexpr size_t sLongestInteger = std::string_view("-9223372036854775808").size();

  /// Most texts are names and short values, for which the call of a copying function would be most of the work: the two
  /// copies of eight or four bytes overlap.
  static void Copy(std::string_view text, char* to) {
    const char* const end = text.data() + text.size();
    if (text.size() >= 8 && text.size() <= 16) {
      std::memcpy(to, text.data(), 8);
      std::memcpy(to + text.size() - 8, end - 8, 8);
    } else if (text.size() >= 4 && text.size() < 8) {
      std::memcpy(to, text.data(), 4);
      std::memcpy(to + text.size() - 4, end - 4, 4);
    } else {
      text.copy(to, text.size());
    }
  }

  void handOver();
  void handOver(std::string_view text);
  void putBehindBuffer(std::string_view text);

  string* mText = nullptr;
  qxIoDevice* mDevice = nullptr;
  bool mFailed = false;
  size_t mSize = 0;  ///< bytes in use at the front of the buffer
  std::array<char, sRoom> mBuffer;
};

}  // namespace qx::json
