#pragma once

#include "netweft/icmp/internal/IcmpMessage.h"
#include "tests/icmp/NetworkNamespace.h"

namespace qx::test {

/// A host, five routers in a row, and a target behind the last of them; IPv4 and IPv6. Networks of the third router:
/// its routes to them drop, refuse or shrink what goes there. The last router lacks the route to `sNoRoute`.
class RouterChain {
 public:
  static constexpr int sRouters = 5;

  /// The number of a network that ends badly; see `getLost`.
  enum Lost { sUnreachable = 1, sBlackHole = 2, sProhibited = 3, sNoRoute = 4, sNarrow = 5 };

  RouterChain();

  const NetworkNamespace& getHost() const { return *mNodes.at(0); }

  /// False where the kernel has one budget of ICMP errors for all namespaces: 50 at once, then one a millisecond.
  static bool HasOwnErrorBudget();

  /// So many hops from the host: 1 to 5 are the routers, 6 is the target.
  static string GetAddress(impl::IcmpFamily family, int hops);
  /// An address within that network.
  static string GetLost(impl::IcmpFamily family, Lost network);

  /// Makes a router forward without ever speaking itself, or ends that.
  void setSilent(int router, bool silent);

 private:
  void connect(int left);
  void addRoutes(int node);
  void addLostNetworks();

  map<int, unique_ptr<NetworkNamespace>> mNodes;
};

}  // namespace qx::test
