#include "tests/icmp/IpPacket.h"

#include "netweft/addressing/internal/Sockets.h"

#include <algorithm>

namespace qx::test {

using impl::IcmpFamily;

namespace {

constexpr unsigned char sIcmpV4 = 1;
constexpr unsigned char sIcmpV6 = 58;
constexpr uint64 sHeaderV4 = 20;
constexpr uint64 sHeaderV6 = 40;

string ToText(int family, const unsigned char* address) {
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(family, address, text, sizeof(text));
  return text;
}

void Write16(unsigned char* at, uint64 value) {
  at[0] = static_cast<unsigned char>(value >> 8 & 0xFF);
  at[1] = static_cast<unsigned char>(value & 0xFF);
}

uint64 Sum(const unsigned char* bytes, uint64 size, uint64 sum = 0) {
  for (uint64 i = 0; i < size; ++i) sum += i % 2 == 0 ? uint64{bytes[i]} << 8 : bytes[i];
  return sum;
}

uint64 Fold(uint64 sum) {
  while (sum > 0xFFFF) sum = (sum >> 16) + (sum & 0xFFFF);
  return ~sum & 0xFFFF;
}

PacketBytes BuildV4(const IpPacket& packet) {
  PacketBytes bytes(sHeaderV4 + packet.message.size());
  bytes[0] = 0x45;
  Write16(&bytes[2], bytes.size());
  bytes[6] = packet.dontFragment ? 0x40 : 0;
  bytes[8] = packet.timeToLive;
  bytes[9] = sIcmpV4;
  inet_pton(AF_INET, packet.source.c_str(), &bytes[12]);
  inet_pton(AF_INET, packet.destination.c_str(), &bytes[16]);
  Write16(&bytes[10], Fold(Sum(bytes.data(), sHeaderV4)));
  std::copy(packet.message.begin(), packet.message.end(), bytes.begin() + sHeaderV4);
  Write16(&bytes[sHeaderV4 + 2], 0);
  Write16(&bytes[sHeaderV4 + 2], Fold(Sum(&bytes[sHeaderV4], packet.message.size())));
  return bytes;
}

PacketBytes BuildV6(const IpPacket& packet) {
  PacketBytes bytes(sHeaderV6 + packet.message.size());
  bytes[0] = 0x60;
  Write16(&bytes[4], packet.message.size());
  bytes[6] = sIcmpV6;
  bytes[7] = packet.timeToLive;
  inet_pton(AF_INET6, packet.source.c_str(), &bytes[8]);
  inet_pton(AF_INET6, packet.destination.c_str(), &bytes[24]);
  std::copy(packet.message.begin(), packet.message.end(), bytes.begin() + sHeaderV6);
  Write16(&bytes[sHeaderV6 + 2], 0);
  const uint64 pseudoHeader = Sum(&bytes[8], 32) + packet.message.size() + sIcmpV6;
  Write16(&bytes[sHeaderV6 + 2], Fold(Sum(&bytes[sHeaderV6], packet.message.size(), pseudoHeader)));
  return bytes;
}

}  // namespace

bool IpPacket::isEchoRequest() const { return !message.empty() && message[0] == (family == IcmpFamily::V4 ? 8 : 128); }

std::optional<IpPacket> ParsePacket(const PacketBytes& bytes) {
  IpPacket packet;
  if (bytes.size() > sHeaderV4 && bytes[0] == 0x45 && bytes[9] == sIcmpV4) {
    packet.source = ToText(AF_INET, &bytes[12]);
    packet.destination = ToText(AF_INET, &bytes[16]);
    packet.timeToLive = bytes[8];
    packet.dontFragment = (bytes[6] & 0x40) != 0;
    packet.message.assign(bytes.begin() + sHeaderV4, bytes.end());
    return packet;
  }
  if (bytes.size() > sHeaderV6 && bytes[0] >> 4 == 6 && bytes[6] == sIcmpV6) {
    packet.family = IcmpFamily::V6;
    packet.source = ToText(AF_INET6, &bytes[8]);
    packet.destination = ToText(AF_INET6, &bytes[24]);
    packet.timeToLive = bytes[7];
    packet.message.assign(bytes.begin() + sHeaderV6, bytes.end());
    return packet;
  }
  return std::nullopt;
}

PacketBytes BuildPacket(const IpPacket& packet) {
  return packet.family == IcmpFamily::V4 ? BuildV4(packet) : BuildV6(packet);
}

IpPacket MakeReply(const IpPacket& request) {
  IpPacket reply = request;
  std::swap(reply.source, reply.destination);
  reply.timeToLive = 64;
  reply.message[0] = impl::GetEchoReplyType(request.family);
  return reply;
}

IpPacket MakeError(const IpPacket& cause, const string& router, int type, int code) {
  IpPacket error;
  error.family = cause.family;
  error.source = router;
  error.destination = cause.source;
  error.message = {static_cast<unsigned char>(type), static_cast<unsigned char>(code), 0, 0, 0, 0, 0, 0};
  // What a link of the smallest size would let through.
  if (cause.family == IcmpFamily::V4 && type == 3 && code == 4) Write16(&error.message[6], 68);
  if (cause.family == IcmpFamily::V6 && type == 2) Write16(&error.message[6], 1280);
  const PacketBytes quoted = BuildPacket(cause);
  error.message.insert(error.message.end(), quoted.begin(), quoted.end());
  return error;
}

}  // namespace qx::test
