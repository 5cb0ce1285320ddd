#include "tests/icmp/TunRouter.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstring>

namespace qx::test {

using impl::IcmpFamily;

namespace {

constexpr const char* sDevice = "tun0";

int OpenDevice() {
  const int fd = open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ifreq request{};
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  std::strncpy(request.ifr_name, sDevice, sizeof(request.ifr_name) - 1);
  EXPECT_EQ(ioctl(fd, TUNSETIFF, &request), 0) << std::strerror(errno);
  return fd;
}

string ToHex(int number) {
  char text[16];
  std::snprintf(text, sizeof(text), "%x", static_cast<unsigned>(number));
  return text;
}

}  // namespace

TunRouter::TunRouter(const NetworkNamespace& network, Policy policy) : mPolicy(std::move(policy)) {
  network.run([this] { mDevice = OpenDevice(); });
  network.ip("-4", {"link set tun0 txqueuelen 5000", "link set tun0 up", "addr add 10.200.0.1/16 dev tun0"});
  network.addAddressV6("fd02::1", 64, sDevice);
  mThread = std::thread([this] { route(); });
}

TunRouter::~TunRouter() {
  mStopping = true;
  mThread.join();
  close(mDevice);
}

vector<IpPacket> TunRouter::getRequests() const {
  const std::lock_guard lock(mMutex);
  return mRequests;
}

string TunRouter::GetHost(IcmpFamily family, int number) {
  if (family == IcmpFamily::V6) return "fd02::" + ToHex(number);
  return "10.200." + std::to_string(number / 256) + "." + std::to_string(number % 256);
}

const char* TunRouter::GetAddress(IcmpFamily family) { return family == IcmpFamily::V4 ? sAddressV4 : sAddressV6; }

void TunRouter::route() {
  while (!mStopping) {
    pollfd device{mDevice, POLLIN, 0};
    int limit = 5;
    if (!mQueue.empty() && mQueue.begin()->first < Clock::now() + std::chrono::milliseconds(limit)) limit = 0;
    poll(&device, 1, limit);
    readRequests();
    deliverDue();
  }
}

void TunRouter::readRequests() {
  PacketBytes bytes(2048);
  for (ssize_t size = 0; (size = read(mDevice, bytes.data(), bytes.size())) > 0;) {
    const auto packet = ParsePacket(PacketBytes(bytes.begin(), bytes.begin() + size));
    if (!packet || !packet->isEchoRequest()) continue;
    for (Delivery& delivery : mPolicy(*packet)) {
      const auto delay = std::chrono::duration<double, std::milli>(delivery.afterMs);
      mQueue.emplace(Clock::now() + std::chrono::duration_cast<Clock::duration>(delay), std::move(delivery.bytes));
    }
    const std::lock_guard lock(mMutex);
    mRequests.push_back(*packet);
  }
}

void TunRouter::deliverDue() {
  while (!mQueue.empty() && mQueue.begin()->first <= Clock::now()) {
    const PacketBytes& bytes = mQueue.begin()->second;
    if (write(mDevice, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size())) ++mDelivered;
    mQueue.erase(mQueue.begin());
  }
}

}  // namespace qx::test
