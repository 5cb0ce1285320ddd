#include "netweft/icmp/internal/EchoServiceLinux.h"

#include "netweft/addressing/internal/Sockets.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/base/system/qxSystemUtils.h"
#include "netweft/base/system/qxThread.h"
#include "netweft/icmp/internal/EchoLinux.h"

#include <linux/net_tstamp.h>
#include <poll.h>

#include <algorithm>
#include <cstring>

namespace qx::impl {

namespace {

uint16 Draw() {
  uint16 value = 0;
  char drawn[sizeof(value)];
  qxSystemUtils::Rand(drawn, sizeof(drawn));
  std::memcpy(&value, drawn, sizeof(value));
  return value;
}

Descriptor OpenStampingSocket() {
  Descriptor descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const int flags = SOF_TIMESTAMPING_SOFTWARE | SOF_TIMESTAMPING_RX_SOFTWARE;
  if (descriptor.isOpen()) setsockopt(descriptor.get(), SOL_SOCKET, SO_TIMESTAMPING, &flags, sizeof(flags));
  return descriptor;
}

}  // namespace

EchoServiceLinux::EchoServiceLinux()
    : mStamping(OpenStampingSocket()), mLastIdentifier(Draw()), mStride(static_cast<uint16>(Draw() | 1)) {}

/// An odd stride visits every value before any comes again, so that no two of 65,535 probes share one. 0 would let the
/// kernel choose.
uint16 EchoServiceLinux::drawIdentifier() {
  mLastIdentifier = static_cast<uint16>(mLastIdentifier + mStride);
  if (mLastIdentifier == 0) mLastIdentifier = mStride;
  return mLastIdentifier;
}

EchoOpening EchoServiceLinux::open(const IpAddress& target, unique_ptr<Echo>& echo) {
  if (!target.isValid()) return EchoOpening::UnsupportedType;
  const IcmpFamily family = target.getType() == IpAddress::IPT_IPv4 ? IcmpFamily::V4 : IcmpFamily::V6;
  auto socket = IcmpSocket::Open(family, drawIdentifier());
  if (!socket) return EchoOpening::NoHandle;
  echo = std::make_unique<EchoLinux>(std::move(*socket), target, Draw());
  return EchoOpening::Opened;
}

void EchoServiceLinux::wait(const vector<Echo*>& pending, uint32 limitMs) {
  vector<pollfd> waited;
  waited.reserve(pending.size());
  int64 limit = limitMs;
  for (const Echo* echo : pending) {
    const auto& own = static_cast<const EchoLinux&>(*echo);
    waited.push_back({own.getFd(), POLLIN, 0});
    limit = std::min(limit, own.getRemainingMs());
  }
  if (poll(waited.data(), waited.size(), static_cast<int>(limit)) < 0) {
    qxThread::msleep(static_cast<unsigned long>(limit));
  }
}

string EchoServiceLinux::getErrorText(uint32 code) const {
  return strerror_l(static_cast<int>(code), qxStringUtils::msCLocale);
}

unique_ptr<EchoService> CreateEchoService() { return std::make_unique<EchoServiceLinux>(); }

}  // namespace qx::impl
