#pragma once

#include "netweft/icmp/internal/EchoServiceLinux.h"
#include "tests/icmp/Batch.h"
#include "tests/icmp/NetworkNamespace.h"

#include <gtest/gtest.h>

namespace qx::test {

enum class SocketKind { Datagram, Raw };

/// A family and a kind of socket.
using Way = std::tuple<impl::IcmpFamily, SocketKind>;

inline string NameWay(const testing::TestParamInfo<Way>& info) {
  return string(std::get<0>(info.param) == impl::IcmpFamily::V4 ? "V4" : "V6") +
         (std::get<1>(info.param) == SocketKind::Datagram ? "Datagram" : "Raw");
}

inline auto AllWays() {
  return testing::Combine(testing::Values(impl::IcmpFamily::V4, impl::IcmpFamily::V6),
                          testing::Values(SocketKind::Datagram, SocketKind::Raw));
}

/// Lets the namespace's processes open sockets of that kind, and proves it for both families.
inline void AllowKind(const NetworkNamespace& network, SocketKind kind) {
  network.set("ipv4/ping_group_range", kind == SocketKind::Datagram ? "0 2147483647" : "1 0");
  network.run([kind] {
    for (const impl::IcmpFamily family : {impl::IcmpFamily::V4, impl::IcmpFamily::V6}) {
      const auto socket = impl::IcmpSocket::Open(family, 1);
      ASSERT_TRUE(socket);
      EXPECT_EQ(socket->isRaw(), kind == SocketKind::Raw);
    }
  });
}

/// Measures inside the namespace.
inline Results MeasureIn(const NetworkNamespace& network, const vector<string>& names,
                         const IcmpHostStatRetriever::RequestParam& param) {
  Results results;
  network.run([&] {
    IcmpHostStatRetriever retriever;
    results = Measure(retriever, MakeHosts(names), param);
  });
  return results;
}

}  // namespace qx::test
