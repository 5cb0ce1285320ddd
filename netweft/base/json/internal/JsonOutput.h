#pragma once

#include "netweft/base/system/qxTypes.h"

#include <string_view>

namespace qx {
class qxIoDevice;
}

namespace qx::json {

/// Where JSON text goes: a string of the caller's, or a device by way of a buffer, so that the device gets few large
/// pieces. One thread at a time.
class JsonOutput {
 public:
  /// Appends to `target`, which must outlive this.
  explicit JsonOutput(string& target) : mText(target) {}

  /// Writes to `device`, which must outlive this. Null has failed from the start. What `flush` has not handed over when
  /// this dies is dropped.
  explicit JsonOutput(qxIoDevice* device);
  JsonOutput(const JsonOutput&) = delete;
  JsonOutput& operator=(const JsonOutput&) = delete;

  void put(char c) { mText.push_back(c); }
  void put(std::string_view text) { mText.append(text); }
  /// Where to append text directly; `relieve` comes after.
  string& text() { return mText; }

  /// To be called between pieces of text: hands the buffer to the device when it has grown large.
  void relieve() {
    if (mDevice != nullptr && mText.size() >= sPiece) flush();
  }

  /// Hands over all that is left. False when the device has an error or has taken too little, now or earlier; what
  /// comes after that is dropped.
  bool flush();
  bool failed() const { return mFailed; }

 private:
  static constexpr size_t sPiece = size_t{16} * 1024;

  string mBuffer;
  string& mText;
  qxIoDevice* mDevice = nullptr;
  bool mFailed = false;
};

}  // namespace qx::json
