#include "fuzz/Input.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "fuzz/icmp/ScriptedKernel.h"
#include "netweft/icmp/internal/EchoLinux.h"
#include "netweft/icmp/internal/IcmpErrorStatus.h"

#include <netinet/in.h>
// After the sockets' headers, whose types it uses.
#include <linux/errqueue.h>

#include <cerrno>
#include <cstring>
#include <optional>

/// Whatever arrives on an ICMP socket and in its error queue, an echo completes only on its own reply, from the address
/// that was asked, or on an error about it; and then once.
///
/// The input is a byte of kinds (bit 0: IPv6, bit 1: raw) and a row of messages:
///   kind      bit 0: of the error queue; bit 1: bytes of the input, and not a good message with edits; bit 2: a stamp;
///             bit 3: an unknown record before it; bits 4 and 5, if both: a call that fails
///   source    0, or what makes one byte of the address another
///   an entry of the error queue: origin, type, code
///   bytes     a length and the bytes; or a number of edits, up to 3, each a place and what makes the byte another
namespace qx::fuzz {
namespace {

using namespace impl;

constexpr uint16 sIdentifier = 0x1234;
constexpr uint16 sSequence = 7;
constexpr size_t sMaxMessages = 50;
constexpr uint64 sIpHeaderSize = 20;

using Bytes = vector<unsigned char>;

struct Kinds {
  bool isV6 = false;
  bool isRaw = false;

  IcmpFamily getFamily() const { return isV6 ? IcmpFamily::V6 : IcmpFamily::V4; }
  /// A raw IPv4 socket gives whole packets.
  bool givesPackets() const { return isRaw && !isV6; }
};

/// The sum of its 16-bit words.
uint64 Sum(const Bytes& message) {
  uint64 sum = 0;
  for (size_t i = 0; i < message.size(); ++i) sum += uint64{message[i]} << (i % 2 == 0 ? 8 : 0);
  return sum;
}

/// Whether it carries its checksum: by the sum modulo 65,535 instead of its folding.
bool SumsUp(const Bytes& message) { return Sum(message) != 0 && Sum(message) % 0xFFFF == 0; }

/// The first 8 bytes of an echo are of this type and carry our numbers.
bool BeginsAs(unsigned char type, const Bytes& message) {
  constexpr unsigned char numbers[] = {sIdentifier >> 8, sIdentifier & 0xFF, sSequence >> 8, sSequence & 0xFF};
  return message.size() >= 8 && message[0] == type && message[1] == 0 &&
         std::equal(std::begin(numbers), std::end(numbers), message.begin() + 4);
}

unsigned char GetRequestType(const Kinds& kinds) { return kinds.isV6 ? 128 : 8; }
unsigned char GetReplyType(const Kinds& kinds) { return kinds.isV6 ? 129 : 0; }

Bytes MakeEcho(unsigned char type) {
  Bytes message = {type, 0, 0, 0, sIdentifier >> 8, sIdentifier & 0xFF, sSequence >> 8, sSequence & 0xFF};
  for (unsigned char c = 0x20; c < 0x40; ++c) message.push_back(c);
  const uint64 checksum = 0xFFFF - Sum(message) % 0xFFFF;
  message[2] = static_cast<unsigned char>(checksum >> 8);
  message[3] = static_cast<unsigned char>(checksum & 0xFF);
  return message;
}

bool IsReply(const Kinds& kinds, Bytes bytes) {
  if (kinds.givesPackets()) {
    const size_t header = bytes.empty() ? 0 : (bytes[0] & 0x0F) * size_t{4};
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(header, bytes.size())));
    if (!SumsUp(bytes)) return false;
  }
  static const Bytes payload = [] {
    const Bytes echo = MakeEcho(0);
    return Bytes(echo.begin() + 8, echo.end());
  }();
  return BeginsAs(GetReplyType(kinds), bytes) && Bytes(bytes.begin() + 8, bytes.end()) == payload;
}

sockaddr_storage MakeAddress(const Kinds& kinds, unsigned char difference) {
  sockaddr_storage storage = {};
  if (kinds.isV6) {
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_addr = {{{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}}};
    address.sin6_addr.s6_addr[15] ^= difference;
    std::memcpy(&storage, &address, sizeof address);
  } else {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(0xC0000201U ^ difference);
    std::memcpy(&storage, &address, sizeof address);
  }
  return storage;
}

template <class Record>
ControlRecord MakeRecord(int level, int type, const Record& record) {
  const auto* begin = reinterpret_cast<const unsigned char*>(&record);
  return {level, type, Bytes(begin, begin + sizeof record)};
}

/// Reads messages of the input into the kernel's queues, and foretells what they do.
class Script {
 public:
  Script(const Kinds& kinds, Input& input) : mKinds(kinds), mInput(input) {
    for (size_t i = 0; i < sMaxMessages && !input.isEmpty(); ++i) readMessage();
  }

  /// The status of the reply or, failing that, of the first error.
  std::optional<uint32> getStatus() const {
    if (mIsReplied) return 0;
    return mError ? std::optional(static_cast<uint32>(*mError)) : std::nullopt;
  }

 private:
  void readMessage() {
    ScriptedKernel& kernel = ScriptedKernel::Get();
    const unsigned char kind = mInput.takeByte();
    const bool isError = (kind & 1) != 0;
    KernelMessage message;
    if ((kind & 0x30) == 0x30) {
      message.error = isError ? EINTR : ECONNREFUSED;
      return (isError ? kernel.errors : kernel.received).push_back(message);
    }
    const unsigned char difference = mInput.takeByte();
    message.name = MakeAddress(mKinds, difference);
    message.nameSize = mKinds.isV6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    if ((kind & 8) != 0) message.control.push_back({SOL_SOCKET, SCM_RIGHTS + 100, {1, 2, 3}});
    if ((kind & 4) != 0) message.control.push_back(readStamp());
    if (isError) {
      sock_extended_err error = {};
      error.ee_origin = mInput.takeByte();
      error.ee_type = mInput.takeByte();
      error.ee_code = mInput.takeByte();
      message.control.push_back(mKinds.isV6 ? MakeRecord(IPPROTO_IPV6, IPV6_RECVERR, error)
                                            : MakeRecord(IPPROTO_IP, IP_RECVERR, error));
      message.bytes = readBytes((kind & 2) != 0, MakeEcho(GetRequestType(mKinds)));
      if (difference == 0) foretellError(error, message.bytes);
      kernel.errors.push_back(message);
    } else {
      message.bytes = readBytes((kind & 2) != 0, makeReply());
      if (difference == 0 && IsReply(mKinds, message.bytes)) mIsReplied = true;
      kernel.received.push_back(message);
    }
  }

  ControlRecord readStamp() {
    scm_timestamping stamps = {};
    stamps.ts[0].tv_sec = mInput.takeNumber(4);
    stamps.ts[0].tv_nsec = mInput.takeByte();
    return MakeRecord(SOL_SOCKET, SCM_TIMESTAMPING, stamps);
  }

  Bytes makeReply() const {
    Bytes reply = MakeEcho(GetReplyType(mKinds));
    if (mKinds.givesPackets()) {
      Bytes header(sIpHeaderSize);
      header[0] = 0x45;
      reply.insert(reply.begin(), header.begin(), header.end());
    }
    return reply;
  }

  Bytes readBytes(bool areFree, Bytes good) {
    if (areFree) {
      const std::string_view text = mInput.takeText(mInput.takeByte());
      return {text.begin(), text.end()};
    }
    for (int edits = mInput.takeByte() % 4; edits > 0; --edits) {
      const size_t place = mInput.takeByte() % good.size();
      good[place] ^= mInput.takeByte();
    }
    return good;
  }

  void foretellError(const sock_extended_err& error, const Bytes& bytes) {
    const bool isIcmp = error.ee_origin == SO_EE_ORIGIN_ICMP || error.ee_origin == SO_EE_ORIGIN_ICMP6;
    if (mError || !isIcmp || !BeginsAs(GetRequestType(mKinds), bytes)) return;
    mError = TranslateIcmpError(mKinds.getFamily(), error.ee_type, error.ee_code);
  }

  const Kinds mKinds;
  Input& mInput;
  bool mIsReplied = false;
  std::optional<IcmpStatus> mError;
};

IpAddress GetTarget(const Kinds& kinds) {
  const sockaddr_storage storage = MakeAddress(kinds, 0);
  IpAddress target;
  if (kinds.isV6) {
    target.fromIPv6(reinterpret_cast<const sockaddr_in6*>(&storage));
  } else {
    target.fromIPv4(reinterpret_cast<const sockaddr_in*>(&storage));
  }
  return target;
}

void Check(std::string_view data) {
  constexpr uint32 anHourMs = 3'600'000;
  Input input(data);
  const unsigned char kindBits = input.takeByte();
  const Kinds kinds{(kindBits & 1) != 0, (kindBits & 2) != 0};
  ScriptedKernel& kernel = ScriptedKernel::Get();
  kernel = {};
  kernel.allowsRaw = kinds.isRaw;

  auto socket = IcmpSocket::Open(kinds.getFamily(), sIdentifier);
  Require(socket && socket->isRaw() == kinds.isRaw && socket->getIdentifier() == sIdentifier, "a socket is opened");
  EchoLinux echo(std::move(*socket), GetTarget(kinds), sSequence);
  Require(echo.send({64, anHourMs}) == 0, "an echo is sent");
  const std::optional<uint32> expected = Script(kinds, input).getStatus();
  Require(echo.takeCompletion() == expected.has_value(), "an echo completes on its own reply or error alone");
  if (!expected) return;
  EchoReply reply;
  Require(echo.parseReplies(reply) == 1 && reply.status == *expected, "a reply comes first, then the first error");
  Require(reply.roundTripMs <= anHourMs, "what took too long is no reply");
  Require(!echo.takeCompletion(), "an echo completes once");
}

const Target sTarget("icmp_echo", Check);

}  // namespace
}  // namespace qx::fuzz
