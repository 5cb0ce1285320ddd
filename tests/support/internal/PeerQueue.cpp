#include "tests/support/internal/PeerQueue.h"

#include <chrono>
#include <cstring>
#include <iostream>
#include <thread>

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qx::test {

namespace {

using Endpoint = asio::ip::tcp::endpoint;

struct DiagRequest {
  nlmsghdr header;
  inet_diag_req_v2 body;
};

class DiagSocket {
 public:
  DiagSocket() : mSocket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG)) {}
  DiagSocket(const DiagSocket&) = delete;
  DiagSocket& operator=(const DiagSocket&) = delete;
  ~DiagSocket() { ::close(mSocket); }

  /// Bytes that wait unread at the socket with this address pair; 0 when there is none, -1 when the kernel won't say.
  long getUnread(const Endpoint& local, const Endpoint& remote) const {
    DiagRequest request = MakeRequest(local, remote);
    if (::send(mSocket, &request, sizeof request, 0) < 0) return -1;
    alignas(nlmsghdr) char answer[8192];
    const ssize_t size = ::recv(mSocket, answer, sizeof answer, 0);
    if (size < static_cast<ssize_t>(sizeof(nlmsghdr))) return -1;
    nlmsghdr header;
    std::memcpy(&header, answer, sizeof header);
    if (header.nlmsg_type == NLMSG_ERROR) {
      nlmsgerr error;
      std::memcpy(&error, answer + NLMSG_HDRLEN, sizeof error);
      return error.error == -ENOENT ? 0 : -1;
    }
    inet_diag_msg message;
    std::memcpy(&message, answer + NLMSG_HDRLEN, sizeof message);
    return static_cast<long>(message.idiag_rqueue);
  }

 private:
  static DiagRequest MakeRequest(const Endpoint& local, const Endpoint& remote) {
    DiagRequest request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.body.sdiag_family = local.address().is_v4() ? AF_INET : AF_INET6;
    request.body.sdiag_protocol = IPPROTO_TCP;
    request.body.idiag_states = ~0U;
    request.body.id.idiag_sport = htons(local.port());
    request.body.id.idiag_dport = htons(remote.port());
    CopyAddress(local.address(), request.body.id.idiag_src);
    CopyAddress(remote.address(), request.body.id.idiag_dst);
    request.body.id.idiag_cookie[0] = request.body.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    return request;
  }

  static void CopyAddress(const asio::ip::address& address, __be32* out) {
    if (address.is_v4()) {
      const auto raw = address.to_v4().to_bytes();
      std::memcpy(out, raw.data(), raw.size());
    } else {
      const auto raw = address.to_v6().to_bytes();
      std::memcpy(out, raw.data(), raw.size());
    }
  }

  int mSocket;
};

bool FallBack() {
  static const bool told = [] {
    std::cout << "the kernel has no socket diagnosis: pieces of scripted replies are kept apart by pauses" << std::endl;
    return true;
  }();
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  return told;
}

}  // namespace

bool HasPeerReadAll(asio::ip::tcp::socket& socket) {
  asio::error_code error;
  const Endpoint local = socket.local_endpoint(error);
  const Endpoint remote = error ? Endpoint() : socket.remote_endpoint(error);
  if (error) return true;
  int unacknowledged = 0;
  if (::ioctl(socket.native_handle(), SIOCOUTQ, &unacknowledged) == 0 && unacknowledged > 0) return false;
  // One per server's thread: answers on a shared one would mix.
  thread_local const DiagSocket diag;
  const long unread = diag.getUnread(remote, local);
  return unread < 0 ? FallBack() : unread == 0;
}

}  // namespace qx::test
