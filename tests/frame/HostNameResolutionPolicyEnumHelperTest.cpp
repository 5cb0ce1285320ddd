#include "netweft/frame/HostNameResolutionPolicyEnumHelper.h"

#include <gtest/gtest.h>

namespace qx::http {
namespace {

TEST(HostNameResolutionPolicyEnumHelperTest, NumberAndEnumeratorBehaveAlike) {
  const HostNameResolutionPolicyEnumHelper fromNumber(3);
  const HostNameResolutionPolicyEnumHelper fromEnumerator(HNRP_PreferIpv4);
  EXPECT_EQ(fromNumber.toInt(), fromEnumerator.toInt());
  EXPECT_EQ(fromNumber.toString(), "HNRP_PreferIpv4");
  EXPECT_EQ(fromEnumerator.toString(), "HNRP_PreferIpv4");
}

TEST(HostNameResolutionPolicyEnumHelperTest, ANameGivesItsValue) {
  const HostNameResolutionPolicyEnumHelper helper(string("HNRP_PreferIpv4"));
  EXPECT_EQ(helper.toInt(), 3);
  EXPECT_TRUE(helper.isKnown());
}

TEST(HostNameResolutionPolicyEnumHelperTest, TheTableHoldsEveryName) {
  const map<int, list<string>> expected{
      {0, {"HNRP_Default"}}, {1, {"HNRP_Whatever"}}, {2, {"HNRP_PreferIpv6"}}, {3, {"HNRP_PreferIpv4"}}};
  EXPECT_EQ(HostNameResolutionPolicyEnumHelper::sVals, expected);
}

TEST(HostNameResolutionPolicyEnumHelperTest, TheTypeNameIsQualified) {
  EXPECT_EQ(HostNameResolutionPolicyEnumHelper::sTypeName, "qx::http::HostNameResolutionPolicy");
  EXPECT_EQ(HostNameResolutionPolicyEnumHelper(0).getTypeName(), "qx::http::HostNameResolutionPolicy");
}

}  // namespace
}  // namespace qx::http
