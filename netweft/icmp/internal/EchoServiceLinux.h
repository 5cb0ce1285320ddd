#pragma once

#include "netweft/icmp/internal/EchoService.h"
#include "netweft/icmp/internal/IcmpSocketLinux.h"

namespace qx::impl {

/// Echoes over ICMP sockets, one per address.
class EchoServiceLinux final : public EchoService {
 public:
  EchoServiceLinux();

  EchoOpening open(const IpAddress& target, unique_ptr<Echo>& echo) override;
  void wait(const vector<Echo*>& pending, uint32 limitMs) override;
  string getErrorText(uint32 code) const override;

 private:
  uint16 drawIdentifier();

  /// The kernel begins to stamp arrivals some time after the first socket has asked for it, and stops when the last one
  /// closes: this one stays.
  Descriptor mStamping;
  uint16 mLastIdentifier;
  uint16 mStride;
};

}  // namespace qx::impl
