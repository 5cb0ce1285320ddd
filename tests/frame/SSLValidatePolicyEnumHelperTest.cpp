#include "netweft/frame/SSLValidatePolicyEnumHelper.h"

#include <gtest/gtest.h>

namespace qx::http {
namespace {

TEST(SSLValidatePolicyEnumHelperTest, NumberAndEnumeratorBehaveAlike) {
  const SSLValidatePolicyEnumHelper fromNumber(2);
  const SSLValidatePolicyEnumHelper fromEnumerator(SVP_NoVerify);
  EXPECT_EQ(fromNumber.toInt(), fromEnumerator.toInt());
  EXPECT_EQ(fromNumber.toString(), "SVP_NoVerify");
  EXPECT_EQ(fromEnumerator.toString(), "SVP_NoVerify");
}

TEST(SSLValidatePolicyEnumHelperTest, ANameGivesItsValue) {
  const SSLValidatePolicyEnumHelper helper(string("SVP_NoVerify"));
  EXPECT_EQ(helper.toInt(), 2);
  EXPECT_TRUE(helper.isKnown());
}

TEST(SSLValidatePolicyEnumHelperTest, TheTableHoldsEveryName) {
  const map<int, list<string>> expected{
      {0, {"SVP_DefaultBehavior"}}, {1, {"SVP_VerifyPeerAndHost"}}, {2, {"SVP_NoVerify"}}};
  EXPECT_EQ(SSLValidatePolicyEnumHelper::sVals, expected);
}

TEST(SSLValidatePolicyEnumHelperTest, TheTypeNameIsQualified) {
  EXPECT_EQ(SSLValidatePolicyEnumHelper::sTypeName, "qx::http::SSLValidatePolicy");
  EXPECT_EQ(SSLValidatePolicyEnumHelper(0).getTypeName(), "qx::http::SSLValidatePolicy");
}

}  // namespace
}  // namespace qx::http
