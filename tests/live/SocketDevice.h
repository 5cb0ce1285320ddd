#pragma once

#include "netweft/base/system/qxIoDevice.h"

namespace qx::test {

/// A connection to a port of loopback as a device: writes go out, reads take what the peer sent.
class SocketDevice final : public qxIoDevice {
 public:
  explicit SocketDevice(uint16 port);
  SocketDevice(const SocketDevice&) = delete;
  SocketDevice& operator=(const SocketDevice&) = delete;
  ~SocketDevice() override;

  /// 0 at the end of the stream.
  uint64 readBytes(char* dst, uint64 n) override;
  uint64 writeBytes(const char* src, uint64 n) override;
  bool hasError() const override { return mFailed; }
  bool atEnd() const override { return mAtEnd; }
  bool seekg(int64, SeekStart) override { return false; }
  bool seekp(int64, SeekStart) override { return false; }
  uint64 tellg() override { return 0; }
  uint64 tellp() override { return 0; }

  /// Everything until the peer closes.
  string readAll();

 private:
  int mSocket;
  bool mFailed = false;
  bool mAtEnd = false;
};

}  // namespace qx::test
