#pragma once

#include "netweft/icmp/internal/EchoService.h"
#include "netweft/icmp/internal/IcmpSocketLinux.h"

#include <chrono>
#include <optional>

namespace qx::impl {

/// The echoes to one address over a socket of their own. A completion is credited only to the echo that is under way:
/// by family, address, identifier, sequence and, for a reply, all of its bytes.
class EchoLinux final : public Echo {
 public:
  /// `sequence` is that of the first echo.
  EchoLinux(IcmpSocket socket, const IpAddress& target, uint16 sequence);

  uint32 send(const EchoOptions& options) override;
  bool takeCompletion() override;
  uint32 parseReplies(EchoReply& reply) override;

  /// For the wait: readable when something has arrived.
  int getFd() const noexcept { return mSocket.getFd(); }
  /// In milliseconds, rounded up; 0 once the time limit has passed.
  int64 getRemainingMs() const;

 private:
  using Clock = std::chrono::steady_clock;

  int connect();
  int sendMessage();
  void drain();
  void handleMessage(const ReceivedMessage& message);
  void handleError(const QueuedError& error);
  void creditReply();
  double measureRoundTripMs(int64 arrivalNs) const;

  IcmpSocket mSocket;
  IpAddress mTarget;
  IcmpFamily mFamily;
  EchoIdentity mIdentity;
  bool mConnected = false;

  // Of the echo under way, or the last one.
  bool mPending = false;
  uint32 mTimeoutMs = 0;
  Clock::time_point mSentAt{};
  int64 mSentNs = 0;                ///< on the system's clock: by the kernel's stamp, until that is known by our own
  std::optional<int64> mArrivalNs;  ///< of the reply; 0 without a stamp
  std::optional<EchoReply> mReply;
};

}  // namespace qx::impl
