#include "netweft/frame/ProxyPolicyEnumHelper.h"

#include <gtest/gtest.h>

namespace qx::http {
namespace {

TEST(ProxyPolicyEnumHelperTest, NumberAndEnumeratorBehaveAlike) {
  const ProxyPolicyEnumHelper fromNumber(3);
  const ProxyPolicyEnumHelper fromEnumerator(PP_ManualProxy);
  EXPECT_EQ(fromNumber.toInt(), fromEnumerator.toInt());
  EXPECT_EQ(fromNumber.toString(), "PP_ManualProxy");
  EXPECT_EQ(fromEnumerator.toString(), "PP_ManualProxy");
}

TEST(ProxyPolicyEnumHelperTest, ANameGivesItsValue) {
  const ProxyPolicyEnumHelper helper(string("PP_ManualProxy"));
  EXPECT_EQ(helper.toInt(), 3);
  EXPECT_TRUE(helper.isKnown());
}

TEST(ProxyPolicyEnumHelperTest, TheTableHoldsEveryName) {
  const map<int, list<string>> expected{
      {0, {"PP_Default"}}, {1, {"PP_NoProxy"}}, {2, {"PP_AutomaticProxy"}}, {3, {"PP_ManualProxy"}}};
  EXPECT_EQ(ProxyPolicyEnumHelper::sVals, expected);
}

TEST(ProxyPolicyEnumHelperTest, TheTypeNameIsQualified) {
  EXPECT_EQ(ProxyPolicyEnumHelper::sTypeName, "qx::http::ProxyPolicy");
  EXPECT_EQ(ProxyPolicyEnumHelper(0).getTypeName(), "qx::http::ProxyPolicy");
}

}  // namespace
}  // namespace qx::http
