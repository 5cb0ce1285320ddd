#include "netweft/icmp/internal/EchoLinux.h"

#include "netweft/icmp/internal/IcmpErrorStatus.h"

#include <algorithm>
#include <utility>

namespace qx::impl {

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// A flood must not keep the loop from the other probes and from its stop flag.
constexpr int sMaxMessagesPerTurn = 256;

/// Each pending error about an earlier echo, or on a raw socket about somebody else's, fails one send.
constexpr int sSendAttempts = 4;

int64 GetSystemNs() {
  return std::chrono::duration_cast<nanoseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

/// Who answers for `target`: this machine does for the unspecified address.
IpAddress GetPeer(const IpAddress& target) {
  const bool v4 = target.getType() == IpAddress::IPT_IPv4;
  const IpAddress unspecified(v4 ? "0.0.0.0" : "::", target.getType());
  return target == unspecified ? IpAddress(v4 ? "127.0.0.1" : "::1", target.getType()) : target;
}

}  // namespace

EchoLinux::EchoLinux(IcmpSocket socket, const IpAddress& target, uint16 sequence)
    : mSocket(std::move(socket)),
      mTarget(GetPeer(target)),
      mFamily(target.getType() == IpAddress::IPT_IPv4 ? IcmpFamily::V4 : IcmpFamily::V6),
      mIdentity{mSocket.getIdentifier(), static_cast<uint16>(sequence - 1)} {}

uint32 EchoLinux::send(const EchoOptions& options) {
  mTimeoutMs = options.timeoutMs;
  mReply.reset();
  mArrivalNs.reset();
  ++mIdentity.sequence;
  int code = connect();
  if (code == 0) code = mSocket.setTimeToLive(options.timeToLive);
  if (code == 0) code = sendMessage();
  mPending = code == 0;
  return static_cast<uint32>(code);
}

int EchoLinux::connect() {
  if (mConnected) return 0;
  const int code = mSocket.connect(mTarget);
  mConnected = code == 0;
  return code;
}

int EchoLinux::sendMessage() {
  const EchoMessage message = BuildEchoRequest(mFamily, mIdentity);
  int code = 0;
  for (int attempt = 0; attempt < sSendAttempts; ++attempt) {
    mSentAt = Clock::now();
    mSentNs = GetSystemNs();
    code = mSocket.send(message);
    if (code == 0) return 0;
    drain();
  }
  return code;
}

bool EchoLinux::takeCompletion() {
  if (!mPending) return false;
  // Looked at first: what came in time is still to be read when the limit has passed.
  const bool expired = getRemainingMs() == 0;
  drain();
  if (!mReply && !expired) return false;
  mPending = false;
  return true;
}

uint32 EchoLinux::parseReplies(EchoReply& reply) {
  if (!mReply) return 0;
  reply = *mReply;
  return 1;
}

int64 EchoLinux::getRemainingMs() const {
  const auto remaining = mSentAt + milliseconds(mTimeoutMs) - Clock::now();
  return std::max<int64>(0, std::chrono::ceil<milliseconds>(remaining).count());
}

/// Replies first: the stamp of an echo's sending is in the error queue before its reply can arrive.
void EchoLinux::drain() {
  ReceivedMessage message;
  for (int i = 0; i < sMaxMessagesPerTurn && mSocket.receive(message); ++i) handleMessage(message);
  QueuedError error;
  for (int i = 0; i < sMaxMessagesPerTurn && mSocket.receiveError(error); ++i) handleError(error);
  if (mArrivalNs) creditReply();
}

void EchoLinux::handleMessage(const ReceivedMessage& message) {
  if (mArrivalNs || !(message.source == mTarget)) return;
  if (IsEchoReply(mFamily, mIdentity, message.bytes)) mArrivalNs = message.stampNs;
}

void EchoLinux::handleError(const QueuedError& error) {
  switch (error.kind) {
    case QueuedError::Kind::Sent:
      // All headers of the lower layers stand before our message.
      if (error.bytes.size() < sEchoMessageSize || error.stampNs == 0) return;
      if (IsEchoRequest(mFamily, mIdentity, error.bytes.last(sEchoMessageSize))) mSentNs = error.stampNs;
      return;
    case QueuedError::Kind::IcmpError: {
      if (mReply || !(error.destination == mTarget) || !IsEchoRequest(mFamily, mIdentity, error.bytes)) return;
      const auto status = TranslateIcmpError(mFamily, error.type, error.code);
      if (!status || measureRoundTripMs(error.stampNs) > mTimeoutMs) return;
      mReply = EchoReply{static_cast<uint32>(*status), 0};
      return;
    }
    case QueuedError::Kind::Other: return;
  }
}

/// A reply that came in time outdoes an error, and one that came too late counts for nothing.
void EchoLinux::creditReply() {
  const double roundTripMs = measureRoundTripMs(*mArrivalNs);
  if (roundTripMs <= mTimeoutMs) mReply = EchoReply{0, static_cast<uint32>(roundTripMs)};
}

/// By the kernel's stamps, unless one is missing or the system's clock was set meanwhile, which the steady clock tells.
double EchoLinux::measureRoundTripMs(int64 arrivalNs) const {
  const nanoseconds upToNow = Clock::now() - mSentAt;
  const nanoseconds stamped(arrivalNs - mSentNs);
  const bool plausible = arrivalNs != 0 && stamped >= nanoseconds(0) && stamped <= upToNow;
  return std::chrono::duration<double, std::milli>(plausible ? stamped : upToNow).count();
}

}  // namespace qx::impl
