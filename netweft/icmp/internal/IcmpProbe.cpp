#include "netweft/icmp/internal/IcmpProbe.h"

#include "netweft/base/system/qxStringUtils.h"
#include "netweft/icmp/internal/IcmpStatus.h"

#include <utility>

namespace qx::impl {

namespace {

constexpr uint32 sFullRange = 64;

}  // namespace

IcmpProbe::IcmpProbe(EchoService& service, const IcmpHostStatRetriever::Host& host, const IpAddress& target,
                     const IcmpHostStatRetriever::RequestParam& param)
    : mService(service), mParam(param), mTimeToLive(param.searchHops ? 1 : sFullRange) {
  hostName = host.name;
  port = host.port;
  address = target;
  openEcho();
  if (mFinished) return;
  mTimer.start();
  send();
}

void IcmpProbe::openEcho() {
  switch (mService.open(address, mEcho)) {
    case EchoOpening::Opened: return;
    case EchoOpening::NoEvent: return fail("Fail to create Event handle");
    case EchoOpening::NoHandle: return fail("Fail to create Icmp handle");
    case EchoOpening::UnsupportedType: return fail("Unsupported IP type");
  }
}

void IcmpProbe::send() {
  const uint32 code = mEcho->send({mTimeToLive, mParam.echoTimeoutMs});
  if (code != 0) fail(describeSendError(code));
}

void IcmpProbe::update() {
  if (!mEcho->takeCompletion()) return;
  EchoReply reply;
  if (mEcho->parseReplies(reply) == 0) {
    handleSilence();
  } else {
    handleReply(reply);
  }
}

void IcmpProbe::handleSilence() {
  if (mTimeToLive >= sFullRange) return fail("ICMP Timeout");
  const bool searchedLongEnough = static_cast<int64>(mService.getElapsedMs(mTimer)) > mParam.hopSearchLimitMs;
  mTimeToLive = searchedLongEnough ? sFullRange : mTimeToLive + 1;
  send();
}

void IcmpProbe::handleReply(const EchoReply& reply) {
  switch (static_cast<IcmpStatus>(reply.status)) {
    case IcmpStatus::Success:
      latencyMs = reply.roundTripMs;
      hops = mTimeToLive;
      mFinished = true;
      return;
    case IcmpStatus::TimeToLiveExpired:
      // A path that keeps answering is followed to its end, however long that takes.
      if (++mTimeToLive > sFullRange) return fail(GetIcmpStatusWord(reply.status));
      return send();
    default: return fail(GetIcmpStatusWord(reply.status));
  }
}

string IcmpProbe::describeSendError(uint32 code) const {
  if (code == static_cast<uint32>(IcmpStatus::BufferTooSmall)) return GetIcmpStatusWord(code);
  const string number = qxStringUtils::fromUInt(code, 1);
  const string text = mService.getErrorText(code);
  return text.empty() ? "Windows Error " + number : number + " : " + text;
}

void IcmpProbe::fail(string message) {
  errorMessage = std::move(message);
  mFinished = true;
}

}  // namespace qx::impl
