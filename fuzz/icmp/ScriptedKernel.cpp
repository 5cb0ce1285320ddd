#include "fuzz/icmp/ScriptedKernel.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qx::fuzz {

namespace {

void GiveName(const KernelMessage& message, msghdr& header) {
  std::memcpy(header.msg_name, &message.name, std::min(header.msg_namelen, message.nameSize));
  header.msg_namelen = message.nameSize;
}

size_t GiveBytes(const KernelMessage& message, msghdr& header) {
  const size_t size = std::min(header.msg_iov[0].iov_len, message.bytes.size());
  if (size != 0) std::memcpy(header.msg_iov[0].iov_base, message.bytes.data(), size);
  return size;
}

void GiveControl(const KernelMessage& message, msghdr& header) {
  unsigned char* const begin = static_cast<unsigned char*>(header.msg_control);
  size_t used = 0;
  for (const ControlRecord& record : message.control) {
    const size_t space = CMSG_SPACE(record.bytes.size());
    if (space > header.msg_controllen - used) break;
    cmsghdr part = {};
    part.cmsg_len = CMSG_LEN(record.bytes.size());
    part.cmsg_level = record.level;
    part.cmsg_type = record.type;
    std::memset(begin + used, 0, space);
    std::memcpy(begin + used, &part, sizeof part);
    if (!record.bytes.empty()) std::memcpy(begin + used + CMSG_LEN(0), record.bytes.data(), record.bytes.size());
    used += space;
  }
  header.msg_controllen = used;
}

ssize_t Fail(int error) {
  errno = error;
  return -1;
}

ssize_t Receive(msghdr& header, std::deque<KernelMessage>& queue) {
  if (queue.empty()) return Fail(EAGAIN);
  const KernelMessage message = std::move(queue.front());
  queue.pop_front();
  if (message.error != 0) return Fail(message.error);
  GiveName(message, header);
  GiveControl(message, header);
  return static_cast<ssize_t>(GiveBytes(message, header));
}

}  // namespace

ScriptedKernel& ScriptedKernel::Get() {
  static ScriptedKernel kernel;
  return kernel;
}

}  // namespace qx::fuzz

extern "C" {

int __wrap_socket(int, int type, int) {
  const int kind = qx::fuzz::ScriptedKernel::Get().allowsRaw ? SOCK_RAW : SOCK_DGRAM;
  if ((type & ~(SOCK_CLOEXEC | SOCK_NONBLOCK)) != kind) return -1;
  return open("/dev/null", O_RDWR | O_CLOEXEC);  // a descriptor that can be closed
}

int __wrap_setsockopt(int, int, int, const void*, socklen_t) { return 0; }

int __wrap_bind(int, const sockaddr*, socklen_t) { return 0; }

// The address stays as it is: that which was bound.
int __wrap_getsockname(int, sockaddr*, socklen_t*) { return 0; }

int __wrap_connect(int, const sockaddr*, socklen_t) { return 0; }

ssize_t __wrap_send(int, const void*, size_t size, int) { return static_cast<ssize_t>(size); }

ssize_t __wrap_recvmsg(int, msghdr* header, int flags) {
  auto& kernel = qx::fuzz::ScriptedKernel::Get();
  return qx::fuzz::Receive(*header, (flags & MSG_ERRQUEUE) != 0 ? kernel.errors : kernel.received);
}

}  // extern "C"
