#include "netweft/addressing/IpAddress.h"

#include "netweft/addressing/internal/Sockets.h"

#include <gtest/gtest.h>

#include <cstring>

namespace qx {
namespace {

using enum IpAddress::Type;

sockaddr_in MakeIPv4(const char* text, uint16 port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, text, &address.sin_addr);
  return address;
}

sockaddr_in6 MakeIPv6(const char* text, uint16 port) {
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_port = htons(port);
  inet_pton(AF_INET6, text, &address.sin6_addr);
  return address;
}

IpAddress WithPort(const char* text, uint16 port) {
  IpAddress address;
  const sockaddr_in v4 = MakeIPv4(text, port);
  address.fromIPv4(&v4);
  return address;
}

IpAddress WithPort6(const char* text, uint16 port) {
  IpAddress address;
  const sockaddr_in6 v6 = MakeIPv6(text, port);
  address.fromIPv6(&v6);
  return address;
}

void ExpectInvalid(const IpAddress& address) {
  EXPECT_FALSE(address.isValid());
  EXPECT_EQ(address.getType(), IPT_Invalid);
  EXPECT_EQ(address.getSockaddr(), nullptr);
  EXPECT_EQ(address.getIPv4Sockaddr(), nullptr);
  EXPECT_EQ(address.getIPv6Sockaddr(), nullptr);
  EXPECT_EQ(address.getSockaddrLen(), 0);
  EXPECT_EQ(address.getAddressAsString(true), "");
}

TEST(IpAddressTest, TypeNumbersAreFixed) {
  EXPECT_EQ(int{IPT_Invalid}, 0);
  EXPECT_EQ(int{IPT_IPv4}, 1);
  EXPECT_EQ(int{IPT_IPv6}, 2);
}

TEST(IpAddressTest, IsInvalidFromConstruction) { ExpectInvalid(IpAddress()); }

TEST(IpAddressTest, AnIPv4AddressHoldsASocketAddressOf16Bytes) {
  const IpAddress address("192.0.2.7", IPT_IPv4);
  EXPECT_EQ(address.getType(), IPT_IPv4);
  EXPECT_EQ(address.getSockaddrLen(), 16);
  ASSERT_NE(address.getIPv4Sockaddr(), nullptr);
  EXPECT_EQ(address.getIPv4Sockaddr()->sin_family, AF_INET);
  EXPECT_EQ(address.getIPv4Sockaddr()->sin_port, 0);
  EXPECT_EQ(address.getIPv6Sockaddr(), nullptr);
  EXPECT_EQ(static_cast<const void*>(address.getSockaddr()), address.getIPv4Sockaddr());
}

TEST(IpAddressTest, AnIPv6AddressHoldsASocketAddressOf28Bytes) {
  const IpAddress address("2001:db8::7", IPT_IPv6);
  EXPECT_EQ(address.getType(), IPT_IPv6);
  EXPECT_EQ(address.getSockaddrLen(), 28);
  ASSERT_NE(address.getIPv6Sockaddr(), nullptr);
  EXPECT_EQ(address.getIPv6Sockaddr()->sin6_family, AF_INET6);
  EXPECT_EQ(address.getIPv6Sockaddr()->sin6_port, 0);
  EXPECT_EQ(address.getIPv4Sockaddr(), nullptr);
  EXPECT_EQ(static_cast<const void*>(address.getSockaddr()), address.getIPv6Sockaddr());
}

TEST(IpAddressTest, AnyFormTriesIPv4ThenIPv6) {
  EXPECT_EQ(IpAddress("192.0.2.7", IPT_Invalid).getType(), IPT_IPv4);
  EXPECT_EQ(IpAddress("2001:db8::7", IPT_Invalid).getType(), IPT_IPv6);
  ExpectInvalid(IpAddress("host.example", IPT_Invalid));
}

TEST(IpAddressTest, ATextOfTheOtherFamilyIsInvalid) {
  ExpectInvalid(IpAddress("2001:db8::7", IPT_IPv4));
  ExpectInvalid(IpAddress("192.0.2.7", IPT_IPv6));
}

TEST(IpAddressTest, ATypeOutOfRangeIsInvalid) {
  ExpectInvalid(IpAddress("192.0.2.7", static_cast<IpAddress::Type>(3)));
}

TEST(IpAddressTest, BracketsAreNotAccepted) { ExpectInvalid(IpAddress("[::1]", IPT_Invalid)); }

TEST(IpAddressTest, ATextWithANulBehindAnAddressIsInvalid) {
  ExpectInvalid(IpAddress(string("192.0.2.7\0.evil", 15), IPT_Invalid));
}

TEST(IpAddressTest, AFailedParseDropsTheOldAddress) {
  IpAddress address("192.0.2.7", IPT_IPv4);
  address.fromStringAddress("nonsense", IPT_Invalid);
  ExpectInvalid(address);
}

TEST(IpAddressTest, ClearMakesInvalid) {
  IpAddress address("192.0.2.7", IPT_IPv4);
  address.clear();
  ExpectInvalid(address);
}

TEST(IpAddressTest, FromIPv4CopiesAddressAndPort) {
  const IpAddress address = WithPort("192.0.2.7", 8080);
  EXPECT_EQ(address.getType(), IPT_IPv4);
  EXPECT_EQ(ntohs(address.getIPv4Sockaddr()->sin_port), 8080);
  EXPECT_EQ(address.getAddressAsString(false), "192.0.2.7");
}

TEST(IpAddressTest, FromIPv6CopiesPortFlowAndScope) {
  sockaddr_in6 source = MakeIPv6("fe80::1", 443);
  source.sin6_flowinfo = 7;
  source.sin6_scope_id = 3;
  IpAddress address;
  address.fromIPv6(&source);
  EXPECT_EQ(std::memcmp(address.getIPv6Sockaddr(), &source, sizeof source), 0);
}

TEST(IpAddressTest, NullOrAnotherFamilyClears) {
  IpAddress address("192.0.2.7", IPT_IPv4);
  address.fromIPv4(nullptr);
  ExpectInvalid(address);
  sockaddr_in wrong4 = MakeIPv4("192.0.2.7", 1);
  wrong4.sin_family = AF_INET6;
  address.fromIPv4(&wrong4);
  ExpectInvalid(address);
  address.fromStringAddress("::1", IPT_IPv6);
  address.fromIPv6(nullptr);
  ExpectInvalid(address);
  sockaddr_in6 wrong6 = MakeIPv6("::1", 1);
  wrong6.sin6_family = AF_INET;
  address.fromIPv6(&wrong6);
  ExpectInvalid(address);
}

TEST(IpAddressTest, ItsOwnSocketAddressMayBePassedBack) {
  IpAddress address = WithPort("192.0.2.7", 80);
  address.fromIPv4(address.getIPv4Sockaddr());
  EXPECT_EQ(address.getAddressAsString(true), "192.0.2.7:80");
  IpAddress address6 = WithPort6("::1", 80);
  address6.fromIPv6(address6.getIPv6Sockaddr());
  EXPECT_EQ(address6.getAddressAsString(true), "::1:80");
}

TEST(IpAddressTest, AnAddressFromTextShowsNoPort) {
  EXPECT_EQ(IpAddress("192.0.2.7", IPT_Invalid).getAddressAsString(true), "192.0.2.7");
  EXPECT_EQ(IpAddress("::1", IPT_Invalid).getAddressAsString(true), "::1");
}

TEST(IpAddressTest, APortFollowsBehindAColonWithoutBrackets) {
  EXPECT_EQ(WithPort("192.0.2.7", 65535).getAddressAsString(true), "192.0.2.7:65535");
  EXPECT_EQ(WithPort("192.0.2.7", 65535).getAddressAsString(false), "192.0.2.7");
  EXPECT_EQ(WithPort6("2001:db8::1", 443).getAddressAsString(true), "2001:db8::1:443");
  EXPECT_EQ(WithPort6("2001:db8::1", 443).getAddressAsString(false), "2001:db8::1");
}

TEST(IpAddressTest, TheTextIsTheNormalForm) {
  EXPECT_EQ(IpAddress("2001:DB8:0:0:0:0:0:1", IPT_IPv6).getAddressAsString(false), "2001:db8::1");
}

TEST(IpAddressTest, ACopyIsDeep) {
  const IpAddress source = WithPort("192.0.2.7", 80);
  const IpAddress copy(source);
  EXPECT_NE(copy.getSockaddr(), source.getSockaddr());
  EXPECT_EQ(copy.getAddressAsString(true), "192.0.2.7:80");
}

TEST(IpAddressTest, AssignmentReplacesTypeAndAddress) {
  IpAddress address = WithPort("192.0.2.7", 80);
  address = WithPort6("::1", 443);
  const IpAddress source("10.0.0.1", IPT_IPv4);
  address = source;
  EXPECT_EQ(address.getType(), IPT_IPv4);
  EXPECT_EQ(address.getAddressAsString(true), "10.0.0.1");
  EXPECT_NE(address.getSockaddr(), source.getSockaddr());
  address = IpAddress();
  ExpectInvalid(address);
}

TEST(IpAddressTest, AssignmentToItselfLeavesItInvalid) {
  IpAddress address("192.0.2.7", IPT_IPv4);
  const IpAddress& self = address;
  address = self;
  ExpectInvalid(address);
}

TEST(IpAddressTest, AMoveTakesTheAddressAndLeavesTheSourceInvalid) {
  IpAddress source("192.0.2.7", IPT_IPv4);
  const sockaddr* held = source.getSockaddr();
  IpAddress target(std::move(source));
  EXPECT_EQ(target.getSockaddr(), held);
  EXPECT_EQ(target.getType(), IPT_IPv4);
  ExpectInvalid(source);
  IpAddress assigned("::1", IPT_IPv6);
  assigned = std::move(target);
  EXPECT_EQ(assigned.getAddressAsString(false), "192.0.2.7");
  ExpectInvalid(target);
}

TEST(IpAddressTest, AMappedAddressEqualsTheOneThatItMapsInBothOrders) {
  const IpAddress plain("192.0.2.7", IPT_IPv4);
  const IpAddress mapped("::ffff:192.0.2.7", IPT_IPv6);
  EXPECT_TRUE(plain == mapped);
  EXPECT_TRUE(mapped == plain);
  EXPECT_TRUE(plain.compareAddresses(mapped));
}

TEST(IpAddressTest, AMappedAddressDiffersFromAnotherIPv4Address) {
  EXPECT_FALSE(IpAddress("192.0.2.8", IPT_IPv4) == IpAddress("::ffff:192.0.2.7", IPT_IPv6));
  EXPECT_FALSE(IpAddress("::ffff:192.0.2.7", IPT_IPv6) == IpAddress("192.0.2.8", IPT_IPv4));
}

TEST(IpAddressTest, AnIPv6AddressThatIsNotMappedEqualsNoIPv4Address) {
  const IpAddress plain("192.0.2.7", IPT_IPv4);
  for (const char* text :
       {"::192.0.2.7", "::fffe:192.0.2.7", "::ff:192.0.2.7", "1::ffff:192.0.2.7", "64:ff9b::192.0.2.7"}) {
    EXPECT_FALSE(plain == IpAddress(text, IPT_IPv6)) << text;
    EXPECT_FALSE(IpAddress(text, IPT_IPv6) == plain) << text;
  }
}

TEST(IpAddressTest, TwoInvalidAddressesAreEqual) { EXPECT_TRUE(IpAddress() == IpAddress()); }

TEST(IpAddressTest, AnInvalidAddressDiffersFromEveryValidOne) {
  for (const char* text : {"0.0.0.0", "::", "192.0.2.7", "::ffff:0.0.0.0"}) {
    const IpAddress valid(text, IPT_Invalid);
    ASSERT_TRUE(valid.isValid());
    EXPECT_FALSE(IpAddress() == valid) << text;
    EXPECT_FALSE(valid == IpAddress()) << text;
  }
}

TEST(IpAddressTest, PortsFlowAndScopeAreIgnoredInComparison) {
  EXPECT_TRUE(WithPort("192.0.2.7", 80) == WithPort("192.0.2.7", 81));
  sockaddr_in6 other = MakeIPv6("fe80::1", 443);
  other.sin6_flowinfo = 7;
  other.sin6_scope_id = 3;
  IpAddress address;
  address.fromIPv6(&other);
  EXPECT_TRUE(address == WithPort6("fe80::1", 80));
}

TEST(IpAddressTest, EveryByteOfAnAddressCounts) {
  EXPECT_FALSE(IpAddress("192.0.2.7", IPT_IPv4) == IpAddress("193.0.2.7", IPT_IPv4));
  EXPECT_FALSE(IpAddress("192.0.2.7", IPT_IPv4) == IpAddress("192.0.2.6", IPT_IPv4));
  EXPECT_FALSE(IpAddress("2001:db8::1", IPT_IPv6) == IpAddress("2001:db8::2", IPT_IPv6));
  EXPECT_FALSE(IpAddress("2001:db8::1", IPT_IPv6) == IpAddress("3001:db8::1", IPT_IPv6));
}

}  // namespace
}  // namespace qx
