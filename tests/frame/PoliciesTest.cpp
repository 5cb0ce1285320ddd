#include "netweft/frame/Policies.h"

#include <gtest/gtest.h>

namespace qx::http {
namespace {

TEST(PoliciesTest, NumbersAreFixed) {
  EXPECT_EQ(int{HNRP_Default}, 0);
  EXPECT_EQ(int{HNRP_Whatever}, 1);
  EXPECT_EQ(int{HNRP_PreferIpv6}, 2);
  EXPECT_EQ(int{HNRP_PreferIpv4}, 3);
  EXPECT_EQ(int{PP_Default}, 0);
  EXPECT_EQ(int{PP_NoProxy}, 1);
  EXPECT_EQ(int{PP_AutomaticProxy}, 2);
  EXPECT_EQ(int{PP_ManualProxy}, 3);
  EXPECT_EQ(int{SVP_DefaultBehavior}, 0);
  EXPECT_EQ(int{SVP_VerifyPeerAndHost}, 1);
  EXPECT_EQ(int{SVP_NoVerify}, 2);
}

}  // namespace
}  // namespace qx::http
