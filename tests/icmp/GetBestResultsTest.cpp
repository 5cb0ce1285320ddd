#include "netweft/icmp/IcmpHostStatRetriever.h"
#include "tests/icmp/Batch.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qx::test {
namespace {

using Result = IcmpHostStatRetriever::Result;

Result Measured(const string& address, uint32 latencyMs, uint32 hops) {
  Result result;
  result.address = IpAddress(address, IpAddress::IPT_Invalid);
  result.latencyMs = latencyMs;
  result.hops = hops;
  return result;
}

Result Failed(const string& address, const string& message) {
  Result result;
  result.address = IpAddress(address, IpAddress::IPT_Invalid);
  result.errorMessage = message;
  return result;
}

/// The addresses of the best.
vector<string> Best(const Results& all) {
  vector<string> addresses;
  for (const Result& result : IcmpHostStatRetriever::GetBestResults(all)) {
    addresses.push_back(result.address.getAddressAsString(false));
  }
  return addresses;
}

using Addresses = vector<string>;

TEST(GetBestResultsTest, NothingGivesNothing) { EXPECT_TRUE(IcmpHostStatRetriever::GetBestResults({}).empty()); }

TEST(GetBestResultsTest, InsideTheBandFewerHopsBeatALowerLatency) {
  EXPECT_EQ(Best({Measured("10.0.0.1", 10, 5), Measured("10.0.0.2", 20, 3)}), (Addresses{"10.0.0.2"}));
}

TEST(GetBestResultsTest, OutsideTheBandLatencyDecides) {
  EXPECT_EQ(Best({Measured("10.0.0.1", 10, 5), Measured("10.0.0.2", 30, 3)}), (Addresses{"10.0.0.1"}));
}

TEST(GetBestResultsTest, TheBandEndsWithTheFifteenthMillisecond) {
  EXPECT_EQ(Best({Measured("10.0.0.1", 10, 5), Measured("10.0.0.2", 25, 3)}), (Addresses{"10.0.0.2"}));
  EXPECT_EQ(Best({Measured("10.0.0.1", 10, 5), Measured("10.0.0.2", 26, 3)}), (Addresses{"10.0.0.1"}));
}

TEST(GetBestResultsTest, AmongEqualHopsTheFasterComesFirst) {
  EXPECT_EQ(Best({Measured("10.0.0.1", 20, 4), Measured("10.0.0.2", 12, 4), Measured("10.0.0.3", 15, 4)}),
            (Addresses{"10.0.0.2", "10.0.0.3", "10.0.0.1"}));
}

TEST(GetBestResultsTest, AmongEqualsTheAddressTextDecides) {
  EXPECT_EQ(Best({Measured("9.0.0.1", 5, 4), Measured("2001:db8::1", 5, 4), Measured("10.0.0.10", 5, 4),
                  Measured("10.0.0.9", 5, 4)}),
            (Addresses{"10.0.0.10", "10.0.0.9", "2001:db8::1", "9.0.0.1"}));
}

TEST(GetBestResultsTest, ThePortPlaysNoPartInTheOrder) {
  Result late = Measured("10.0.0.2", 5, 4);
  late.port = 1;
  Result early = Measured("10.0.0.1", 5, 4);
  early.port = 9;
  EXPECT_EQ(Best({late, early}), (Addresses{"10.0.0.1", "10.0.0.2"}));
}

TEST(GetBestResultsTest, OnlyTheFewestHopsOfTheBandRemain) {
  EXPECT_EQ(Best({Measured("10.0.0.1", 1, 9), Measured("10.0.0.2", 14, 2), Measured("10.0.0.3", 3, 2),
                  Measured("10.0.0.4", 2, 3), Measured("10.0.0.5", 100, 1)}),
            (Addresses{"10.0.0.3", "10.0.0.2"}));
}

TEST(GetBestResultsTest, FailuresAreNeverBestBesideAMeasure) {
  EXPECT_EQ(Best({Failed("10.0.0.1", "ICMP Timeout"), Measured("10.0.0.2", 200, 64)}), (Addresses{"10.0.0.2"}));
}

TEST(GetBestResultsTest, WithoutAMeasureAllComeBackByAddressText) {
  const Results best = IcmpHostStatRetriever::GetBestResults(
      {Failed("10.0.0.3", "c"), Failed("10.0.0.10", "b"), Failed("no address", "a"), Failed("10.0.0.2", "d")});
  EXPECT_EQ(Summarize(best), (vector<string>{": a", "10.0.0.10: b", "10.0.0.2: d", "10.0.0.3: c"}));
}

TEST(GetBestResultsTest, ALatencyOfZeroIsTheBest) {
  EXPECT_EQ(Best({Measured("10.0.0.1", 0, 64), Measured("10.0.0.2", 16, 1)}), (Addresses{"10.0.0.1"}));
}

TEST(GetBestResultsTest, NumbersAreComparedWithoutSign) {
  // In a signed comparison 0x80000001 would be the smallest of all.
  EXPECT_EQ(Best({Measured("10.0.0.1", 0x80000001, 1), Measured("10.0.0.2", 7, 2)}), (Addresses{"10.0.0.2"}));
  EXPECT_EQ(Best({Measured("10.0.0.1", 5, 0x80000001), Measured("10.0.0.2", 7, 2)}), (Addresses{"10.0.0.2"}));
}

TEST(GetBestResultsTest, TheInputIsLeftAlone) {
  const Results all = {Measured("10.0.0.2", 20, 4), Measured("10.0.0.1", 10, 4)};
  const vector<string> before = Summarize(all);
  IcmpHostStatRetriever::GetBestResults(all);
  EXPECT_EQ(Summarize(all), before);
}

TEST(GetBestResultsTest, TheRestOfAResultComesAlong) {
  Result measured = Measured("10.0.0.1", 5, 4);
  measured.hostName = "host";
  measured.port = 9;
  const Results best = IcmpHostStatRetriever::GetBestResults({measured});
  ASSERT_EQ(best.size(), 1U);
  EXPECT_EQ(best[0].hostName, "host");
  EXPECT_EQ(best[0].port, 9);
  EXPECT_EQ(best[0].latencyMs, 5U);
  EXPECT_EQ(best[0].hops, 4U);
}

}  // namespace
}  // namespace qx::test
