#pragma once

#include "netweft/base/system/qxIoDevice.h"

#include <algorithm>

namespace qx::json {

/// Takes what is written, as long as there is room, and counts the writes. Nothing can be read.
class JsonDevice final : public qxIoDevice {
 public:
  uint64 readBytes(char*, uint64) override { return 0; }
  uint64 writeBytes(const char* src, uint64 n) override {
    const uint64 count = std::min(n, room - text.size());
    text.append(src, count);
    ++writes;
    if (errorAfterWrite) error = true;
    return count;
  }
  bool hasError() const override { return error; }
  bool atEnd() const override { return true; }
  bool seekg(int64, SeekStart) override { return false; }
  bool seekp(int64, SeekStart) override { return false; }
  uint64 tellg() override { return 0; }
  uint64 tellp() override { return text.size(); }

  string text;
  uint64 room = uint64{1} << 40;
  int writes = 0;
  bool error = false;
  bool errorAfterWrite = false;
};

}  // namespace qx::json
