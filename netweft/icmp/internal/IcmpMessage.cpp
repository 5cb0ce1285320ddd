#include "netweft/icmp/internal/IcmpMessage.h"

#include <algorithm>

namespace qx::impl {

namespace {

constexpr unsigned char sEchoRequestV4 = 8;
constexpr unsigned char sEchoReplyV4 = 0;
constexpr unsigned char sEchoRequestV6 = 128;
constexpr unsigned char sEchoReplyV6 = 129;

unsigned char GetEchoRequestType(IcmpFamily family) {
  return family == IcmpFamily::V4 ? sEchoRequestV4 : sEchoRequestV6;
}

uint16 Read16(IcmpBytes message, uint64 at) { return static_cast<uint16>(message[at] << 8 | message[at + 1]); }

void Write16(EchoMessage& message, uint64 at, uint16 value) {
  message[at] = static_cast<unsigned char>(value >> 8);
  message[at + 1] = static_cast<unsigned char>(value & 0xFF);
}

/// The one's complement sum of all 16-bit words, complemented: 0 over a message that carries its checksum.
uint16 Checksum(IcmpBytes message) {
  uint32 sum = 0;
  for (uint64 at = 0; at + 1 < message.size(); at += 2) sum += Read16(message, at);
  if (message.size() % 2 != 0) sum += static_cast<uint32>(message.back() << 8);
  while (sum > 0xFFFF) sum = (sum >> 16) + (sum & 0xFFFF);
  return static_cast<uint16>(~sum & 0xFFFF);
}

bool HasHeader(unsigned char type, const EchoIdentity& identity, IcmpBytes message) {
  return message.size() >= sEchoHeaderSize && message[0] == type && message[1] == 0 &&
         Read16(message, 4) == identity.identifier && Read16(message, 6) == identity.sequence;
}

}  // namespace

unsigned char GetEchoReplyType(IcmpFamily family) { return family == IcmpFamily::V4 ? sEchoReplyV4 : sEchoReplyV6; }

EchoMessage BuildEchoRequest(IcmpFamily family, const EchoIdentity& identity) {
  EchoMessage message{};
  message[0] = GetEchoRequestType(family);
  Write16(message, 4, identity.identifier);
  Write16(message, 6, identity.sequence);
  std::copy(sEchoPayload.begin(), sEchoPayload.end(), message.begin() + sEchoHeaderSize);
  if (family == IcmpFamily::V4) Write16(message, 2, Checksum(message));
  return message;
}

bool IsEchoRequest(IcmpFamily family, const EchoIdentity& identity, IcmpBytes message) {
  return HasHeader(GetEchoRequestType(family), identity, message);
}

bool IsEchoReply(IcmpFamily family, const EchoIdentity& identity, IcmpBytes message) {
  return message.size() == sEchoMessageSize && HasHeader(GetEchoReplyType(family), identity, message) &&
         std::equal(sEchoPayload.begin(), sEchoPayload.end(), message.begin() + sEchoHeaderSize);
}

bool HasGoodChecksum(IcmpBytes message) { return Checksum(message) == 0; }

}  // namespace qx::impl
