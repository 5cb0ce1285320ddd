// Real packets through five routers, each a network namespace of its own.
#include "tests/icmp/PacketFixture.h"
#include "tests/icmp/RouterChain.h"

#include <chrono>

namespace qx::test {
namespace {

using impl::IcmpFamily;

/// A time limit that a loaded machine keeps; silence costs as much.
constexpr uint32 sPatientMs = 20000;
constexpr uint32 sSilenceMs = 400;

class RouterChainTest : public testing::TestWithParam<Way> {
 protected:
  static void SetUpTestSuite() {
    if (CanMakeNetworks()) chain = std::make_unique<RouterChain>();
  }
  static void TearDownTestSuite() { chain.reset(); }

  void SetUp() override {
    if (!chain) GTEST_SKIP() << "no network namespaces here";
    AllowKind(chain->getHost(), std::get<1>(GetParam()));
  }

  static IcmpFamily Family() { return std::get<0>(GetParam()); }

  static vector<string> Run(const vector<string>& names, const IcmpHostStatRetriever::RequestParam& param) {
    return Summarize(MeasureIn(chain->getHost(), names, param));
  }

  /// The outcome of one lost network.
  static string RunLost(RouterChain::Lost network, const IcmpHostStatRetriever::RequestParam& param) {
    const string address = RouterChain::GetLost(Family(), network);
    const Results results = MeasureIn(chain->getHost(), {address}, param);
    if (results.size() != 1 || results[0].isValid()) return "a measure";
    return results[0].errorMessage;
  }

  static inline unique_ptr<RouterChain> chain;
};

INSTANTIATE_TEST_SUITE_P(EveryWay, RouterChainTest, AllWays(), NameWay);

TEST_P(RouterChainTest, EveryNodeHasItsHopCount) {
  vector<string> names;
  vector<string> expected;
  for (int hops = 1; hops <= 6; ++hops) {
    names.push_back(RouterChain::GetAddress(Family(), hops));
    expected.push_back(names.back() + ": " + std::to_string(hops));
  }
  EXPECT_EQ(Run(names, {sPatientMs, 350, true}), expected);
}

TEST_P(RouterChainTest, WithoutASearchASuccessShowsTheFullRange) {
  const string target = RouterChain::GetAddress(Family(), 6);
  EXPECT_EQ(Run({target}, {sPatientMs, 350, false}), (vector<string>{target + ": 64"}));
}

TEST_P(RouterChainTest, ManySearchesForOneHostDoNotDisturbEachOther) {
  const string target = RouterChain::GetAddress(Family(), 6);
  const uint64 count = RouterChain::HasOwnErrorBudget() ? 100 : 40;
  EXPECT_EQ(Run(vector<string>(count, target), {sPatientMs, 350, true}), vector<string>(count, target + ": 6"));
}

TEST_P(RouterChainTest, ASilentRouterCostsOneTimeLimit) {
  chain->setSilent(3, true);
  const string target = RouterChain::GetAddress(Family(), 6);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Run({target}, {sSilenceMs, 60000, true}), (vector<string>{target + ": 6"}));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(sSilenceMs));
  chain->setSilent(3, false);
}

TEST_P(RouterChainTest, TwoSilentRoutersForceTheLastTry) {
  chain->setSilent(2, true);
  chain->setSilent(3, true);
  const string target = RouterChain::GetAddress(Family(), 6);
  EXPECT_EQ(Run({target}, {sSilenceMs, sSilenceMs + sSilenceMs / 2, true}), (vector<string>{target + ": 64"}));
  chain->setSilent(2, false);
  chain->setSilent(3, false);
}

TEST_P(RouterChainTest, ABlackHoleTimesOut) {
  EXPECT_EQ(RunLost(RouterChain::sBlackHole, {50, 100, false}), "ICMP Timeout");
  EXPECT_EQ(RunLost(RouterChain::sBlackHole, {50, 100, true}), "ICMP Timeout");
}

TEST_P(RouterChainTest, ANetworkWithoutARouteIsUnreachable) {
  for (const bool searchHops : {false, true}) {
    EXPECT_EQ(RunLost(RouterChain::sNoRoute, {sPatientMs, 350, searchHops}),
              "The destination network was unreachable.");
  }
}

TEST_P(RouterChainTest, ARefusedNetworkIsUnreachable) {
  // IPv6 routers say "no route" for it.
  EXPECT_EQ(RunLost(RouterChain::sUnreachable, {sPatientMs, 350, true}),
            Family() == IcmpFamily::V4 ? "The destination host was unreachable."
                                       : "The destination network was unreachable.");
}

TEST_P(RouterChainTest, AProhibitedNetworkIsUnreachable) {
  EXPECT_EQ(RunLost(RouterChain::sProhibited, {sPatientMs, 350, true}), "The destination was unreachable.");
}

TEST_P(RouterChainTest, AnEchoTooLargeForALinkIsNotFragmented) {
  EXPECT_EQ(RunLost(RouterChain::sNarrow, {sPatientMs, 350, false}), "The packet was too big.");
}

TEST_P(RouterChainTest, ALimitOfThePathThatTheKernelHasLearntChangesNothing) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(RunLost(RouterChain::sNarrow, {sPatientMs, 350, true}), "The packet was too big.");
  }
}

}  // namespace
}  // namespace qx::test
