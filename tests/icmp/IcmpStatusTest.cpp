#include "netweft/icmp/internal/IcmpStatus.h"

#include <gtest/gtest.h>

#include <utility>

namespace qx::test {
namespace {

using impl::GetIcmpStatusWord;

TEST(IcmpStatusTest, EveryKnownStatusHasItsSentence) {
  const std::pair<uint32, const char*> expected[] = {
      {0, "The status was success."},
      {11001, "The reply buffer was too small."},
      {11002, "The destination network was unreachable."},
      {11003, "The destination host was unreachable."},
      {11004, "The destination protocol was unreachable."},
      {11005, "The destination port was unreachable."},
      {11006, "Insufficient IP resources were available."},
      {11007, "A bad IP option was specified."},
      {11008, "A hardware error occurred."},
      {11009, "The packet was too big."},
      {11010, "The request timed out."},
      {11011, "A bad request."},
      {11012, "A bad route."},
      {11013, "The time to live (TTL) expired in transit."},
      {11014, "The time to live expired during fragment reassembly."},
      {11015, "A parameter problem."},
      {11016, "Datagrams are arriving too fast to be processed and datagrams may have been discarded."},
      {11017, "An IP option was too big."},
      {11018, "A bad destination."},
      {11040, "The destination was unreachable."},
      {11041, "The time was exceeded."},
      {11042, "A bad IP header was encountered."},
      {11043, "An unrecognized next header was encountered."},
      {11044, "An ICMP error occurred."},
      {11045, "A destination scope ID mismatch occurred."},
      {11050, "A general failure. This error can be returned for some malformed ICMP packets."},
  };
  for (const auto& [status, word] : expected) EXPECT_EQ(GetIcmpStatusWord(status), word);
}

TEST(IcmpStatusTest, AnUnknownStatusShowsItsNumber) {
  EXPECT_EQ(GetIcmpStatusWord(1), "IP error : 1");
  EXPECT_EQ(GetIcmpStatusWord(11000), "IP error : 11000");
  EXPECT_EQ(GetIcmpStatusWord(11019), "IP error : 11019");
  EXPECT_EQ(GetIcmpStatusWord(11039), "IP error : 11039");
  EXPECT_EQ(GetIcmpStatusWord(11046), "IP error : 11046");
  EXPECT_EQ(GetIcmpStatusWord(4294967295U), "IP error : 4294967295");
}

}  // namespace
}  // namespace qx::test
