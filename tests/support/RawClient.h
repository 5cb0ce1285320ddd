#pragma once

#include "netweft/base/system/qxTypes.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qx::test {

/// A client that sends and receives exactly what it is told.
class RawClient {
 public:
  explicit RawClient(uint16 port) : mSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    mIsConnected = ::connect(mSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;
  ~RawClient() { close(); }

  bool isConnected() const { return mIsConnected; }
  void send(const string& text) const {
    EXPECT_EQ(::send(mSocket, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  }

  /// One read of whatever is there; empty at the end of the stream, "RST" for a reset.
  string receive() const {
    char buffer[4096];
    const ssize_t n = ::recv(mSocket, buffer, sizeof buffer, 0);
    return n < 0 ? "RST" : string(buffer, static_cast<size_t>(n));
  }
  string receiveBytes(size_t n) const {
    string all;
    while (all.size() < n) {
      const string part = receive();
      if (part.empty() || part == "RST") break;
      all += part;
    }
    return all;
  }
  string receiveAll() const { return receiveBytes(SIZE_MAX); }

  void close() {
    if (mSocket >= 0) ::close(mSocket);
    mSocket = -1;
  }

 private:
  int mSocket;
  bool mIsConnected = false;
};

}  // namespace qx::test
