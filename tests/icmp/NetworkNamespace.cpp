#include "tests/icmp/NetworkNamespace.h"

#include "netweft/base/system/qxStringUtils.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <thread>

namespace qx::test {

namespace {

/// Of the calling thread's namespace. The table's lines begin with the address and the length of its prefix in
/// hexadecimal digits.
bool HasLocalRoute(const string& address) {
  in6_addr binary{};
  inet_pton(AF_INET6, address.c_str(), &binary);
  string wanted;
  qxStringUtils::ToHex(reinterpret_cast<const char*>(&binary), sizeof(binary), wanted);
  qxStringUtils::toLower(wanted);
  std::ifstream table("/proc/thread-self/net/ipv6_route");
  for (string line; std::getline(table, line);) {
    if (qxStringUtils::StartsWith(line, wanted + " 80 ")) return true;
  }
  return false;
}

}  // namespace

unique_ptr<NetworkNamespace> NetworkNamespace::Create() {
  int fd = -1;
  std::thread([&fd] {
    if (unshare(CLONE_NEWNET) == 0) fd = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
  }).join();
  if (fd < 0) return nullptr;
  unique_ptr<NetworkNamespace> network(new NetworkNamespace(fd));
  network->ip("-4", {"link set lo up"});
  return network;
}

NetworkNamespace::~NetworkNamespace() { close(mFd); }

void NetworkNamespace::run(const std::function<void()>& body) const {
  std::thread([&] {
    if (setns(mFd, CLONE_NEWNET) == 0) {
      body();
    } else {
      ADD_FAILURE() << "the namespace cannot be entered";
    }
  }).join();
}

void NetworkNamespace::ip(const string& family, const vector<string>& lines) const {
  run([&] {
    FILE* tool = popen(("ip " + family + " -batch -").c_str(), "w");
    ASSERT_NE(tool, nullptr);
    for (const string& line : lines) std::fprintf(tool, "%s\n", line.c_str());
    EXPECT_EQ(pclose(tool), 0) << (lines.empty() ? "" : lines.front());
  });
}

void NetworkNamespace::addAddressV6(const string& address, int prefixLength, const string& device) const {
  ip("-6", {"addr add " + address + "/" + std::to_string(prefixLength) + " dev " + device + " nodad"});
  run([&] {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!HasLocalRoute(address)) {
      ASSERT_LT(std::chrono::steady_clock::now(), end) << address;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
}

void NetworkNamespace::set(const string& path, const string& value) const {
  run([&] {
    std::ofstream file("/proc/sys/net/" + path);
    file << value << std::flush;
    EXPECT_TRUE(file.good()) << path;
  });
}

string NetworkNamespace::getPath() const { return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(mFd); }

bool CanMakeNetworks() {
  static const bool sCan = [] {
    const char* missing = nullptr;
    if (std::system("ip -Version >/dev/null 2>&1") != 0) {
      missing = "there is no ip command (Debian: iproute2)";
    } else if (NetworkNamespace::Create() == nullptr) {
      missing = "this process may not make network namespaces";
    } else if (access("/dev/net/tun", R_OK | W_OK) != 0) {
      missing = "/dev/net/tun cannot be opened";
    }
    if (missing != nullptr) std::cout << "skipped, tests over real packets: " << missing << std::endl;
    return missing == nullptr;
  }();
  return sCan;
}

}  // namespace qx::test
