#include "netweft/icmp/internal/IcmpMessage.h"

#include <gtest/gtest.h>

namespace qx::test {
namespace {

using namespace impl;

constexpr EchoIdentity sIdentity{0x1234, 0xFFFE};

/// A good reply to `sIdentity`.
EchoMessage Reply(IcmpFamily family) {
  EchoMessage reply = BuildEchoRequest(family, sIdentity);
  reply[0] = GetEchoReplyType(family);
  return reply;
}

constexpr IcmpFamily sFamilies[] = {IcmpFamily::V4, IcmpFamily::V6};

TEST(IcmpMessageTest, ARequestOfIpv4IsTheseBytes) {
  const EchoMessage expected = {0x08, 0x00, 0xF2, 0xC9, 0x12, 0x34, 0xFF, 0xFE,                                      //
                                0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x2B, 0x2C, 0x2D,  //
                                0x2E, 0x2F, 0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3A, 0x3B,  //
                                0x3C, 0x3D, 0x3E, 0x3F};
  EXPECT_EQ(BuildEchoRequest(IcmpFamily::V4, sIdentity), expected);
}

TEST(IcmpMessageTest, ARequestOfIpv6LeavesTheChecksumToTheKernel) {
  const EchoMessage request = BuildEchoRequest(IcmpFamily::V6, sIdentity);
  EXPECT_EQ(vector<unsigned char>(request.begin(), request.begin() + 9),
            (vector<unsigned char>{128, 0, 0, 0, 0x12, 0x34, 0xFF, 0xFE, 0x20}));
}

TEST(IcmpMessageTest, TheChecksumOfARequestHolds) {
  EXPECT_TRUE(HasGoodChecksum(BuildEchoRequest(IcmpFamily::V4, sIdentity)));
}

TEST(IcmpMessageTest, EveryFlippedBitBreaksTheChecksum) {
  for (uint64 bit = 0; bit < sEchoMessageSize * 8; ++bit) {
    EchoMessage message = BuildEchoRequest(IcmpFamily::V4, sIdentity);
    message[bit / 8] = static_cast<unsigned char>(message[bit / 8] ^ (1 << bit % 8));
    EXPECT_FALSE(HasGoodChecksum(message)) << bit;
  }
}

TEST(IcmpMessageTest, TheChecksumCoversAnOddLastByte) {
  const unsigned char good[] = {0xFE, 0xFD, 0x01, 0x02, 0x00};
  const unsigned char bad[] = {0xFE, 0xFD, 0x01, 0x02, 0x01};
  EXPECT_TRUE(HasGoodChecksum(good));
  EXPECT_FALSE(HasGoodChecksum(bad));
}

TEST(IcmpMessageTest, TheReplyOfTheSameIdentityIsOurs) {
  for (const IcmpFamily family : sFamilies) EXPECT_TRUE(IsEchoReply(family, sIdentity, Reply(family)));
}

TEST(IcmpMessageTest, AReplyWithAnyOtherByteIsForeign) {
  for (const IcmpFamily family : sFamilies) {
    for (uint64 at = 0; at < sEchoMessageSize; ++at) {
      if (at == 2 || at == 3) continue;  // the checksum is looked at elsewhere
      EchoMessage reply = Reply(family);
      ++reply[at];
      EXPECT_FALSE(IsEchoReply(family, sIdentity, reply)) << at;
    }
  }
}

TEST(IcmpMessageTest, AReplyOfAnotherLengthIsForeign) {
  for (const IcmpFamily family : sFamilies) {
    const EchoMessage reply = Reply(family);
    vector<unsigned char> longer(reply.begin(), reply.end());
    longer.push_back(0x40);
    EXPECT_FALSE(IsEchoReply(family, sIdentity, longer));
    for (uint64 size = 0; size < reply.size(); ++size) {
      EXPECT_FALSE(IsEchoReply(family, sIdentity, IcmpBytes(reply).first(size))) << size;
    }
  }
}

TEST(IcmpMessageTest, AReplyOfTheOtherFamilyIsForeign) {
  EXPECT_FALSE(IsEchoReply(IcmpFamily::V4, sIdentity, Reply(IcmpFamily::V6)));
  EXPECT_FALSE(IsEchoReply(IcmpFamily::V6, sIdentity, Reply(IcmpFamily::V4)));
}

TEST(IcmpMessageTest, ARequestIsNoReply) {
  for (const IcmpFamily family : sFamilies) {
    EXPECT_FALSE(IsEchoReply(family, sIdentity, BuildEchoRequest(family, sIdentity)));
  }
}

TEST(IcmpMessageTest, AQuotedRequestIsKnownByItsHeader) {
  for (const IcmpFamily family : sFamilies) {
    const EchoMessage request = BuildEchoRequest(family, sIdentity);
    EXPECT_TRUE(IsEchoRequest(family, sIdentity, IcmpBytes(request).first(8)));
    EXPECT_FALSE(IsEchoRequest(family, sIdentity, IcmpBytes(request).first(7)));
    EXPECT_FALSE(IsEchoRequest(family, {0x1234, 0xFFFF}, request));
    EXPECT_FALSE(IsEchoRequest(family, {0x1235, 0xFFFE}, request));
    EXPECT_FALSE(IsEchoRequest(family, sIdentity, Reply(family)));
  }
}

}  // namespace
}  // namespace qx::test
