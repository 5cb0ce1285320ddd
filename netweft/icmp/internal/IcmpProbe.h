#pragma once

#include "netweft/base/system/qxHighResTimer.h"
#include "netweft/icmp/IcmpHostStatRetriever.h"
#include "netweft/icmp/internal/EchoService.h"

namespace qx::impl {

/// One address under measure: sends echoes, climbs the hop counts, and ends as a `Result` with either a measure or a
/// message. The retriever's thread alone.
class IcmpProbe final : public IcmpHostStatRetriever::Result {
 public:
  /// Sends the first echo. The service must outlive the probe.
  IcmpProbe(EchoService& service, const IcmpHostStatRetriever::Host& host, const IpAddress& target,
            const IcmpHostStatRetriever::RequestParam& param);

  bool isFinished() const noexcept { return mFinished; }

  /// What a wait for this probe waits for. Null only when it is finished.
  Echo* getEcho() const noexcept { return mEcho.get(); }

  /// Handles the echo's completion, if there is one, and sends the next where another is needed.
  void update();

 private:
  void openEcho();
  void send();
  void handleSilence();
  void handleReply(const EchoReply& reply);
  string describeSendError(uint32 code) const;
  void fail(string message);

  EchoService& mService;
  IcmpHostStatRetriever::RequestParam mParam;
  qxHighResTimer mTimer;
  uint32 mTimeToLive;
  unique_ptr<Echo> mEcho;
  bool mFinished = false;
};

}  // namespace qx::impl
