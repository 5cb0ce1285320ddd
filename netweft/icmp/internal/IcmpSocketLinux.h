#pragma once

#include "netweft/addressing/IpAddress.h"
#include "netweft/icmp/internal/IcmpMessage.h"

#include <optional>

namespace qx::impl {

/// A descriptor that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) noexcept : mFd(fd) {}
  Descriptor(Descriptor&& other) noexcept : mFd(std::exchange(other.mFd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(mFd, other.mFd);
    return *this;
  }
  ~Descriptor();

  int get() const noexcept { return mFd; }
  bool isOpen() const noexcept { return mFd >= 0; }

 private:
  int mFd;
};

/// A message from the socket's receive queue. The bytes live until the socket is asked for the next.
struct ReceivedMessage {
  IcmpBytes bytes;
  IpAddress source;
  int64 stampNs = 0;  ///< when the kernel took it from the network, on the system's clock; 0 when it does not say
};

/// An entry of the socket's error queue: an ICMP error, or the time at which a message of ours was sent.
struct QueuedError {
  enum class Kind { IcmpError, Sent, Other };

  Kind kind = Kind::Other;
  unsigned char type = 0;  ///< of the ICMP error
  unsigned char code = 0;
  IpAddress destination;  ///< of the message that the error is about
  IcmpBytes bytes;        ///< that message from its ICMP header on, cut perhaps; for `Sent` all headers and its end
  int64 stampNs = 0;      ///< when it was sent, or when the error came; 0 when the kernel does not say
};

/// One ICMP socket: an unprivileged datagram socket where the kernel's ping group range allows the process, else a raw
/// one that lets only echo replies of its own identifier in. Never fragments, never blocks. One thread.
class IcmpSocket {
 public:
  /// No value when neither kind may be opened. `identifier` is a wish: see `getIdentifier`.
  static std::optional<IcmpSocket> Open(IcmpFamily family, uint16 identifier);

  /// What its echoes must carry.
  uint16 getIdentifier() const noexcept { return mIdentifier; }
  int getFd() const noexcept { return mSocket.get(); }
  bool isRaw() const noexcept { return mRaw; }

  /// From here on only messages from this address arrive on a raw socket; datagram sockets know no such rule. These
  /// three give 0, or the system's error code.
  int connect(const IpAddress& target);
  int setTimeToLive(uint32 timeToLive);
  int send(const EchoMessage& message);

  /// False when the queue is empty.
  bool receive(ReceivedMessage& message);
  bool receiveError(QueuedError& error);

 private:
  IcmpSocket(IcmpFamily family, Descriptor socket, bool raw) : mFamily(family), mSocket(std::move(socket)), mRaw(raw) {}

  bool setUp(uint16 identifier);
  bool bindIdentifier(uint16 identifier);
  bool filterReplies(uint16 identifier);
  IcmpBytes skipIpHeader(uint64 size) const;

  IcmpFamily mFamily;
  Descriptor mSocket;
  bool mRaw;
  uint16 mIdentifier = 0;
  std::array<unsigned char, 512> mBuffer{};
};

}  // namespace qx::impl
