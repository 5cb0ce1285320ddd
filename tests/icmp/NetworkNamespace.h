#pragma once

#include "netweft/base/system/qxTypes.h"

#include <functional>

namespace qx::test {

/// A network of its own, without a name: it lives as long as this object, the processes inside it and the devices that
/// lead to it, and so never longer than the test program, however that ends. Its loopback device is up.
class NetworkNamespace {
 public:
  /// Null where the process may not make one.
  static unique_ptr<NetworkNamespace> Create();
  NetworkNamespace(const NetworkNamespace&) = delete;
  NetworkNamespace& operator=(const NetworkNamespace&) = delete;
  ~NetworkNamespace();

  /// Runs on a thread inside; threads and processes that it starts stay inside.
  void run(const std::function<void()>& body) const;

  /// Lines for `ip -batch`, with the family's option in front ("-4", "-6"). Fails the test when one is refused.
  void ip(const string& family, const vector<string>& lines) const;

  /// Gives an IPv6 address to a device and waits until packets for it are taken in, which the kernel sees to only some
  /// time later.
  void addAddressV6(const string& address, int prefixLength, const string& device) const;

  /// `path` below /proc/sys/net.
  void set(const string& path, const string& value) const;

  /// As `ip` takes it behind "netns".
  string getPath() const;

 private:
  explicit NetworkNamespace(int fd) : mFd(fd) {}

  int mFd;
};

/// Says on one line why tests of real packets cannot run here, and is false; true where they can.
bool CanMakeNetworks();

}  // namespace qx::test
