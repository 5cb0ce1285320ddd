#include "tests/icmp/StampFault.h"

#include <sys/socket.h>
// After the sockets' header, whose types it uses.
#include <linux/errqueue.h>

#include <atomic>

extern "C" {
ssize_t __real_recvmsg(int fd, msghdr* message, int flags);
ssize_t __wrap_recvmsg(int fd, msghdr* message, int flags);
}

namespace qx::test {

namespace {

constexpr long long sHour = 3600;

std::atomic<StampFault::Kind> active = StampFault::Kind::None;
std::atomic<int> touched = 0;

void Spoil(cmsghdr* part) {
  auto* stamps = reinterpret_cast<scm_timestamping*>(CMSG_DATA(part));
  switch (active.load()) {
    case StampFault::Kind::None: return;
    case StampFault::Kind::Missing: part->cmsg_type = 0; break;
    case StampFault::Kind::AnHourEarlier: stamps->ts[0].tv_sec -= sHour; break;
    case StampFault::Kind::AnHourLater: stamps->ts[0].tv_sec += sHour; break;
  }
  ++touched;
}

}  // namespace

StampFault::StampFault(Kind kind) {
  touched = 0;
  active = kind;
}

StampFault::~StampFault() { active = Kind::None; }

int StampFault::countTouched() const { return touched; }

}  // namespace qx::test

/// The stamps of sending, which come through the error queue, stay as they are.
ssize_t __wrap_recvmsg(int fd, msghdr* message, int flags) {
  const ssize_t size = __real_recvmsg(fd, message, flags);
  if (size < 0 || (flags & MSG_ERRQUEUE) != 0) return size;
  for (cmsghdr* part = CMSG_FIRSTHDR(message); part != nullptr; part = CMSG_NXTHDR(message, part)) {
    if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_TIMESTAMPING) qx::test::Spoil(part);
  }
  return size;
}
