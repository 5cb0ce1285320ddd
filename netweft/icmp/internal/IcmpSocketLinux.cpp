#include "netweft/icmp/internal/IcmpSocketLinux.h"

#include "netweft/addressing/internal/Sockets.h"

#include <linux/errqueue.h>
#include <linux/filter.h>
#include <linux/icmp.h>
#include <linux/net_tstamp.h>
#include <netinet/icmp6.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace qx::impl {

namespace {

/// Each pending ICMP error fails one call on the socket, whatever the call is for.
constexpr int sMaxFailedReceives = 64;

/// Errors about everybody's echoes to the same host pile up on each raw socket until it is read.
constexpr int sRawReceiveBuffer = 1 << 20;

constexpr int sStamps = SOF_TIMESTAMPING_SOFTWARE | SOF_TIMESTAMPING_RX_SOFTWARE | SOF_TIMESTAMPING_TX_SOFTWARE;

template <class Value>
bool SetOption(int fd, int level, int name, const Value& value) {
  return setsockopt(fd, level, name, &value, sizeof(value)) == 0;
}

Descriptor OpenSocket(IcmpFamily family, int type) {
  const int flags = type | SOCK_CLOEXEC | SOCK_NONBLOCK;
  return Descriptor(family == IcmpFamily::V4 ? socket(AF_INET, flags, IPPROTO_ICMP)
                                             : socket(AF_INET6, flags, IPPROTO_ICMPV6));
}

/// Without error queue or the ban on fragments there is no echo as we want it; stamps have a substitute. A path limit
/// that the kernel has learnt must not fail an echo here that a router is to answer for: PROBE forbids fragments, too.
bool SetCommonOptions(IcmpFamily family, int fd) {
  SetOption(fd, SOL_SOCKET, SO_TIMESTAMPING, sStamps);
  if (family == IcmpFamily::V4) {
    return SetOption(fd, IPPROTO_IP, IP_RECVERR, 1) && SetOption(fd, IPPROTO_IP, IP_MTU_DISCOVER, IP_PMTUDISC_PROBE);
  }
  return SetOption(fd, IPPROTO_IPV6, IPV6_RECVERR, 1) && SetOption(fd, IPPROTO_IPV6, IPV6_DONTFRAG, 1) &&
         SetOption(fd, IPPROTO_IPV6, IPV6_MTU_DISCOVER, IPV6_PMTUDISC_PROBE);
}

bool AttachFilter(int fd, sock_filter* program, uint64 length) {
  const sock_fprog filter{static_cast<unsigned short>(length), program};
  return SetOption(fd, SOL_SOCKET, SO_ATTACH_FILTER, filter);
}

/// The filter sees an IPv4 packet from its IP header on, whose length is in the low half of its first byte.
bool FilterRepliesV4(int fd, uint16 identifier) {
  sock_filter program[] = {
      BPF_STMT(BPF_LDX | BPF_B | BPF_MSH, 0),
      BPF_STMT(BPF_LD | BPF_B | BPF_IND, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ICMP_ECHOREPLY, 0, 3),
      BPF_STMT(BPF_LD | BPF_H | BPF_IND, 4),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, identifier, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, 0xFFFFFFFF),
      BPF_STMT(BPF_RET | BPF_K, 0),
  };
  return AttachFilter(fd, program, std::size(program));
}

/// The filter sees an IPv6 packet from its ICMP header on.
bool FilterRepliesV6(int fd, uint16 identifier) {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_B | BPF_ABS, 0), BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ICMP6_ECHO_REPLY, 0, 3),
      BPF_STMT(BPF_LD | BPF_H | BPF_ABS, 4), BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, identifier, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, 0xFFFFFFFF), BPF_STMT(BPF_RET | BPF_K, 0),
  };
  return AttachFilter(fd, program, std::size(program));
}

union AnyAddress {
  sockaddr any;
  sockaddr_in v4;
  sockaddr_in6 v6;
};

/// With port 0, which a raw IPv6 socket insists on.
socklen_t CopyWithoutPort(const IpAddress& address, AnyAddress& out) {
  out = {};
  if (const sockaddr_in* v4 = address.getIPv4Sockaddr()) out.v4 = *v4;
  if (const sockaddr_in6* v6 = address.getIPv6Sockaddr()) out.v6 = *v6;
  (address.getType() == IpAddress::IPT_IPv4 ? out.v4.sin_port : out.v6.sin6_port) = 0;
  return static_cast<socklen_t>(address.getSockaddrLen());
}

/// One call of recvmsg with room for its ancillary data.
class Reception {
 public:
  explicit Reception(std::span<unsigned char> buffer) : mPart{buffer.data(), buffer.size()} {
    mHeader.msg_name = &mName;
    mHeader.msg_namelen = sizeof(mName);
    mHeader.msg_iov = &mPart;
    mHeader.msg_iovlen = 1;
    mHeader.msg_control = mControl;
    mHeader.msg_controllen = sizeof(mControl);
  }

  /// The number of bytes in the buffer, or -1 with errno set.
  ssize_t receive(int fd, int flags) { return recvmsg(fd, &mHeader, flags | MSG_DONTWAIT); }

  int64 getStampNs() {
    const auto* stamps = find<scm_timestamping>(SOL_SOCKET, SCM_TIMESTAMPING);
    if (stamps == nullptr) return 0;
    return static_cast<int64>(stamps->ts[0].tv_sec) * 1'000'000'000 + stamps->ts[0].tv_nsec;
  }

  const sock_extended_err* getError() {
    const auto* error = find<sock_extended_err>(IPPROTO_IP, IP_RECVERR);
    return error != nullptr ? error : find<sock_extended_err>(IPPROTO_IPV6, IPV6_RECVERR);
  }

  IpAddress getName() const {
    IpAddress address;
    if (mHeader.msg_namelen >= sizeof(mName.v4)) address.fromIPv4(&mName.v4);
    if (mHeader.msg_namelen >= sizeof(mName.v6) && !address.isValid()) address.fromIPv6(&mName.v6);
    return address;
  }

 private:
  template <class Record>
  const Record* find(int level, int type) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&mHeader); part != nullptr; part = CMSG_NXTHDR(&mHeader, part)) {
      if (part->cmsg_level != level || part->cmsg_type != type) continue;
      // The control buffer and CMSG_DATA are aligned for any record.
      return reinterpret_cast<const Record*>(CMSG_DATA(part));
    }
    return nullptr;
  }

  msghdr mHeader{};
  iovec mPart;
  AnyAddress mName{};
  alignas(cmsghdr) unsigned char mControl[512];
};

QueuedError::Kind GetKind(const sock_extended_err* error) {
  if (error == nullptr) return QueuedError::Kind::Other;
  switch (error->ee_origin) {
    case SO_EE_ORIGIN_ICMP:
    case SO_EE_ORIGIN_ICMP6: return QueuedError::Kind::IcmpError;
    case SO_EE_ORIGIN_TIMESTAMPING: return QueuedError::Kind::Sent;
    default: return QueuedError::Kind::Other;
  }
}

}  // namespace

Descriptor::~Descriptor() {
  if (isOpen()) close(mFd);
}

std::optional<IcmpSocket> IcmpSocket::Open(IcmpFamily family, uint16 identifier) {
  for (const int type : {SOCK_DGRAM, SOCK_RAW}) {
    Descriptor descriptor = OpenSocket(family, type);
    if (!descriptor.isOpen()) continue;
    IcmpSocket candidate(family, std::move(descriptor), type == SOCK_RAW);
    if (candidate.setUp(identifier)) return candidate;
  }
  return std::nullopt;
}

bool IcmpSocket::setUp(uint16 identifier) {
  if (!SetCommonOptions(mFamily, getFd())) return false;
  return mRaw ? filterReplies(identifier) : bindIdentifier(identifier) || bindIdentifier(0);
}

/// The kernel keeps the identifier of a datagram socket where others keep their port; 0 lets it choose.
bool IcmpSocket::bindIdentifier(uint16 identifier) {
  AnyAddress address{};
  socklen_t size = sizeof(address.v4);
  if (mFamily == IcmpFamily::V4) {
    address.v4.sin_family = AF_INET;
    address.v4.sin_port = htons(identifier);
  } else {
    address.v6.sin6_family = AF_INET6;
    address.v6.sin6_port = htons(identifier);
    size = sizeof(address.v6);
  }
  if (bind(getFd(), &address.any, size) != 0 || getsockname(getFd(), &address.any, &size) != 0) return false;
  mIdentifier = ntohs(mFamily == IcmpFamily::V4 ? address.v4.sin_port : address.v6.sin6_port);
  return true;
}

bool IcmpSocket::filterReplies(uint16 identifier) {
  mIdentifier = identifier;
  SetOption(getFd(), SOL_SOCKET, SO_RCVBUF, sRawReceiveBuffer);
  return mFamily == IcmpFamily::V4 ? FilterRepliesV4(getFd(), identifier) : FilterRepliesV6(getFd(), identifier);
}

int IcmpSocket::connect(const IpAddress& target) {
  AnyAddress address;
  const socklen_t size = CopyWithoutPort(target, address);
  return ::connect(getFd(), &address.any, size) == 0 ? 0 : errno;
}

int IcmpSocket::setTimeToLive(uint32 timeToLive) {
  const int value = static_cast<int>(timeToLive);
  const bool set = mFamily == IcmpFamily::V4 ? SetOption(getFd(), IPPROTO_IP, IP_TTL, value)
                                             : SetOption(getFd(), IPPROTO_IPV6, IPV6_UNICAST_HOPS, value);
  return set ? 0 : errno;
}

int IcmpSocket::send(const EchoMessage& message) {
  ssize_t sent = 0;
  do {
    sent = ::send(getFd(), message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent < 0 ? errno : 0;
}

bool IcmpSocket::receive(ReceivedMessage& message) {
  for (int failures = 0; failures < sMaxFailedReceives; ++failures) {
    Reception reception(mBuffer);
    const ssize_t size = reception.receive(getFd(), 0);
    if (size >= 0) {
      message.bytes = skipIpHeader(static_cast<uint64>(size));
      message.source = reception.getName();
      message.stampNs = reception.getStampNs();
      return true;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK) return false;
  }
  return false;
}

/// A raw IPv4 socket hands out the whole packet, and nobody has looked at its checksum.
IcmpBytes IcmpSocket::skipIpHeader(uint64 size) const {
  const IcmpBytes packet(mBuffer.data(), size);
  if (!mRaw || mFamily == IcmpFamily::V6) return packet;
  const uint64 headerSize = packet.empty() ? 0 : (packet[0] & 0x0F) * 4;
  if (packet.size() <= headerSize) return {};
  const IcmpBytes message = packet.subspan(headerSize);
  return HasGoodChecksum(message) ? message : IcmpBytes{};
}

bool IcmpSocket::receiveError(QueuedError& error) {
  Reception reception(mBuffer);
  ssize_t size = 0;
  do {
    size = reception.receive(getFd(), MSG_ERRQUEUE);
  } while (size < 0 && errno == EINTR);
  if (size < 0) return false;
  const sock_extended_err* extended = reception.getError();
  error.kind = GetKind(extended);
  error.type = extended != nullptr ? extended->ee_type : 0;
  error.code = extended != nullptr ? extended->ee_code : 0;
  error.destination = reception.getName();
  error.bytes = IcmpBytes(mBuffer.data(), static_cast<uint64>(size));
  error.stampNs = reception.getStampNs();
  return true;
}

}  // namespace qx::impl
