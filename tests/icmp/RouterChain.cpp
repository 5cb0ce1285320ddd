#include "tests/icmp/RouterChain.h"

#include <unistd.h>

namespace qx::test {

using impl::IcmpFamily;

namespace {

constexpr int sTarget = RouterChain::sRouters + 1;

/// Link `link` joins the nodes `link` (side 1) and `link` + 1 (side 2).
string V4(int link, int side) { return "10.1." + std::to_string(link) + "." + std::to_string(side); }
string V6(int link, int side) { return "fd01:" + std::to_string(link + 1) + "::" + std::to_string(side); }

void Prepare(const NetworkNamespace& node) {
  node.set("ipv6/conf/default/accept_dad", "0");
  node.set("ipv6/conf/all/forwarding", "1");
  node.set("ipv4/ip_forward", "1");
  // Else a router falls silent after six errors. The mask is there because a limit of 0 alone still uses up the tokens
  // that refusals of a route are paid with.
  node.set("ipv4/icmp_ratelimit", "0");
  node.set("ipv4/icmp_ratemask", "0");
  node.set("ipv6/icmp/ratelimit", "0");
  if (!RouterChain::HasOwnErrorBudget()) return;
  node.set("ipv4/icmp_msgs_per_sec", "1000000");
  node.set("ipv4/icmp_msgs_burst", "1000000");
}

}  // namespace

RouterChain::RouterChain() {
  for (int node = 0; node <= sTarget; ++node) {
    mNodes[node] = NetworkNamespace::Create();
    Prepare(*mNodes.at(node));
  }
  for (int link = 0; link < sTarget; ++link) connect(link);
  for (int node = 0; node <= sTarget; ++node) addRoutes(node);
  addLostNetworks();
}

void RouterChain::connect(int left) {
  const auto& leftNode = *mNodes.at(left);
  const auto& rightNode = *mNodes.at(left + 1);
  leftNode.ip("-4", {"link add right type veth peer name left netns " + rightNode.getPath(), "link set right up",
                     "addr add " + V4(left, 1) + "/24 dev right"});
  rightNode.ip("-4", {"link set left up", "addr add " + V4(left, 2) + "/24 dev left"});
  leftNode.addAddressV6(V6(left, 1), 64, "right");
  rightNode.addAddressV6(V6(left, 2), 64, "left");
}

void RouterChain::addRoutes(int node) {
  vector<string> v4;
  vector<string> v6;
  for (int link = 0; link < node - 1; ++link) {
    v4.push_back("route add " + V4(link, 0) + "/24 via " + V4(node - 1, 1));
    v6.push_back("route add " + V6(link, 0) + "/64 via " + V6(node - 1, 1));
  }
  if (node < sRouters) {
    v4.push_back("route add default via " + V4(node, 2));
    v6.push_back("route add default via " + V6(node, 2));
  }
  mNodes.at(node)->ip("-4", v4);
  mNodes.at(node)->ip("-6", v6);
}

void RouterChain::addLostNetworks() {
  mNodes.at(3)->ip("-4", {"route add unreachable 10.9.1.0/24", "route add blackhole 10.9.2.0/24",
                          "route add prohibit 10.9.3.0/24", "route add 10.9.5.0/24 via " + V4(3, 2) + " mtu 50"});
  mNodes.at(3)->ip("-6", {"route add unreachable fd09:1::/64", "route add blackhole fd09:2::/64",
                          "route add prohibit fd09:3::/64", "route add fd09:5::/64 via " + V6(3, 2) + " mtu 60"});
}

bool RouterChain::HasOwnErrorBudget() {
  bool has = false;
  NetworkNamespace::Create()->run([&has] { has = access("/proc/sys/net/ipv4/icmp_msgs_burst", W_OK) == 0; });
  return has;
}

string RouterChain::GetAddress(IcmpFamily family, int hops) {
  return family == IcmpFamily::V4 ? V4(hops - 1, 2) : V6(hops - 1, 2);
}

string RouterChain::GetLost(IcmpFamily family, Lost network) {
  const string number = std::to_string(network);
  return family == IcmpFamily::V4 ? "10.9." + number + ".1" : "fd09:" + number + "::1";
}

void RouterChain::setSilent(int router, bool silent) {
  const string line = string("rule ") + (silent ? "add" : "del") + " iif lo blackhole";
  for (const char* family : {"-4", "-6"}) mNodes.at(router)->ip(family, {line});
}

}  // namespace qx::test
