// What a process may do, and what it says when it may not.
#include "tests/icmp/PacketFixture.h"

#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qx::test {
namespace {

using impl::IcmpFamily;

/// Takes every capability from the calling thread; threads that it starts have none either.
void DropCapabilities() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
}

/// At most so many descriptors while it lives.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t limit) {
    getrlimit(RLIMIT_NOFILE, &mBefore);
    const rlimit lowered{limit, mBefore.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &lowered), 0);
  }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &mBefore); }

 private:
  rlimit mBefore{};
};

class RightsTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!CanMakeNetworks()) GTEST_SKIP() << "no network namespaces here";
    network = NetworkNamespace::Create();
  }

  vector<string> measureWithoutCapabilities() const {
    vector<string> outcome;
    network->run([&outcome] {
      DropCapabilities();
      IcmpHostStatRetriever retriever;
      outcome = Summarize(Measure(retriever, MakeHosts({"127.0.0.1", "::1"}), {20000, 350, false}));
    });
    return outcome;
  }

  unique_ptr<NetworkNamespace> network;
};

TEST_F(RightsTest, AProcessInThePingGroupRangeNeedsNoCapability) {
  AllowKind(*network, SocketKind::Datagram);
  EXPECT_EQ(measureWithoutCapabilities(), (vector<string>{"127.0.0.1: 64", "::1: 64"}));
}

TEST_F(RightsTest, WithoutEitherRightEveryAddressSaysSo) {
  AllowKind(*network, SocketKind::Raw);
  EXPECT_EQ(measureWithoutCapabilities(),
            (vector<string>{"127.0.0.1: Fail to create Icmp handle", "::1: Fail to create Icmp handle"}));
}

TEST_F(RightsTest, RunningOutOfDescriptorsGivesMessagesAndTheThreadLives) {
  AllowKind(*network, SocketKind::Raw);
  network->run([] {
    IcmpHostStatRetriever retriever;
    const int next = dup(0);
    close(next);
    const Hosts hosts = MakeHosts(vector<string>(50, "127.0.0.1"));
    {
      const DescriptorLimit limit(static_cast<rlim_t>(next) + 10);
      uint64 measured = 0;
      const Results results = Measure(retriever, hosts, {20000, 350, false});
      ASSERT_EQ(results.size(), 50U);
      for (const auto& result : results) {
        if (result.isValid()) ++measured;
        EXPECT_EQ(result.errorMessage, result.isValid() ? "" : "Fail to create Icmp handle");
      }
      EXPECT_GT(measured, 0U);
      EXPECT_LE(measured, 10U);
    }
    for (const auto& result : Measure(retriever, hosts, {20000, 350, false})) EXPECT_TRUE(result.isValid());
  });
}

TEST_F(RightsTest, EveryDescriptorComesBack) {
  AllowKind(*network, SocketKind::Raw);
  network->run([] {
    const int before = dup(0);
    close(before);
    {
      IcmpHostStatRetriever retriever;
      Measure(retriever, MakeHosts(vector<string>(20, "127.0.0.1")), {20000, 350, false});
    }
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
  });
}

}  // namespace
}  // namespace qx::test
