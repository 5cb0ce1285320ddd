#pragma once

#include "netweft/icmp/internal/IcmpMessage.h"

#include <optional>

namespace qx::test {

using PacketBytes = vector<unsigned char>;

/// An ICMP message in its IP packet.
struct IpPacket {
  impl::IcmpFamily family = impl::IcmpFamily::V4;
  string source;
  string destination;
  unsigned char timeToLive = 64;
  bool dontFragment = false;  ///< of IPv4; IPv6 packets are never fragmented on the way
  PacketBytes message;        ///< from the ICMP header on

  bool isEchoRequest() const;
};

/// No value when the bytes are no ICMP in IP.
std::optional<IpPacket> ParsePacket(const PacketBytes& bytes);

/// The bytes, with the right checksums.
PacketBytes BuildPacket(const IpPacket& packet);

/// The packet that answers an echo request.
IpPacket MakeReply(const IpPacket& request);

/// The error with which a router answers a packet; it quotes its beginning as routers must.
IpPacket MakeError(const IpPacket& cause, const string& router, int type, int code);

}  // namespace qx::test
