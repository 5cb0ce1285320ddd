#pragma once

#include "netweft/base/system/qxTypes.h"
#include "netweft/icmp/internal/EchoService.h"

#include <array>
#include <span>

namespace qx::impl {

enum class IcmpFamily { V4, V6 };

/// What tells one echo from every other: the identifier is the probe's, the sequence the echo's.
struct EchoIdentity {
  uint16 identifier = 0;
  uint16 sequence = 0;
};

/// An echo on the wire: type, code, checksum, identifier, sequence, 32 bytes of data.
constexpr uint64 sEchoHeaderSize = 8;
constexpr uint64 sEchoMessageSize = sEchoHeaderSize + sEchoPayload.size();
using EchoMessage = std::array<unsigned char, sEchoMessageSize>;
using IcmpBytes = std::span<const unsigned char>;

/// An echo request. IPv4 carries its checksum; that of IPv6 covers the addresses, too, and is the kernel's to fill in.
EchoMessage BuildEchoRequest(IcmpFamily family, const EchoIdentity& identity);

/// True when `message` begins as the request of that identity, as a router quotes it in an error: its first 8 bytes at
/// least.
bool IsEchoRequest(IcmpFamily family, const EchoIdentity& identity, IcmpBytes message);

/// True when `message` is, as a whole, the reply to the request of that identity.
bool IsEchoReply(IcmpFamily family, const EchoIdentity& identity, IcmpBytes message);

/// True when the checksum of an IPv4 message holds.
bool HasGoodChecksum(IcmpBytes message);

/// The type of an echo reply.
unsigned char GetEchoReplyType(IcmpFamily family);

}  // namespace qx::impl
