#pragma once

#include "tests/icmp/IpPacket.h"
#include "tests/icmp/NetworkNamespace.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

namespace qx::test {

/// A router at the other end of a TUN device, and all hosts behind it: 10.200.0.0/16 and fd02::/64, the device itself
/// being 10.200.0.1 and fd02::1. What it does with each echo request is the test's.
class TunRouter {
 public:
  /// A packet to hand in, in milliseconds from now.
  struct Delivery {
    double afterMs = 0;
    PacketBytes bytes;
  };
  using Policy = std::function<vector<Delivery>(const IpPacket& request)>;

  static constexpr const char* sAddressV4 = "10.200.0.254";
  static constexpr const char* sAddressV6 = "fd02::fe";

  /// The policy runs on the router's thread, one request after the other.
  TunRouter(const NetworkNamespace& network, Policy policy);
  TunRouter(const TunRouter&) = delete;
  TunRouter& operator=(const TunRouter&) = delete;
  ~TunRouter();

  /// The echo requests so far.
  vector<IpPacket> getRequests() const;
  /// Packets handed in so far.
  uint64 countDelivered() const { return mDelivered; }

  /// "10.200.1.7" and "fd02::107" for the host of number 263.
  static string GetHost(impl::IcmpFamily family, int number);
  static const char* GetAddress(impl::IcmpFamily family);

 private:
  using Clock = std::chrono::steady_clock;

  void route();
  void deliverDue();
  void readRequests();

  Policy mPolicy;
  int mDevice = -1;
  std::atomic<bool> mStopping = false;
  std::atomic<uint64> mDelivered = 0;
  std::multimap<Clock::time_point, PacketBytes> mQueue;  ///< the router's thread's
  mutable std::mutex mMutex;
  vector<IpPacket> mRequests;
  std::thread mThread;
};

}  // namespace qx::test
