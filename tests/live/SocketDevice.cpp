#include "tests/live/SocketDevice.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qx::test {

SocketDevice::SocketDevice(uint16 port) : mSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  mFailed = ::connect(mSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0;
}

SocketDevice::~SocketDevice() { ::close(mSocket); }

uint64 SocketDevice::readBytes(char* dst, uint64 n) {
  const ssize_t got = ::recv(mSocket, dst, n, 0);
  mAtEnd = got == 0;
  mFailed = mFailed || got < 0;
  return got > 0 ? static_cast<uint64>(got) : 0;
}

uint64 SocketDevice::writeBytes(const char* src, uint64 n) {
  for (uint64 sent = 0; sent < n && !mFailed;) {
    const ssize_t count = ::send(mSocket, src + sent, n - sent, MSG_NOSIGNAL);
    if (count <= 0) {
      mFailed = true;
    } else {
      sent += static_cast<uint64>(count);
    }
  }
  return mFailed ? 0 : n;
}

string SocketDevice::readAll() {
  string all;
  string room(65'536, ' ');
  while (const uint64 got = readBytes(room.data(), room.size())) all.append(room, 0, got);
  return all;
}

}  // namespace qx::test
