#include "netweft/base/system/ThirdPartyLibVersionInfo.h"

#include <gtest/gtest.h>

namespace qx::impl {
namespace {

TEST(ThirdPartyLibVersionInfo, RegisteredVersionsAreListed) {
  RegisterThirdPartyLibVersionInfo("test-a", "1.2");
  RegisterThirdPartyLibVersionInfo("test-b", nullptr);
  map<string, string> versions = GetThirdPartyLibVersionInfo();
  EXPECT_EQ(versions.at("test-a"), "1.2");
  EXPECT_EQ(versions.at("test-b"), "");
  UnRegisterThirdPartyLibVersionInfo("test-a");
  UnRegisterThirdPartyLibVersionInfo("test-b");
  EXPECT_FALSE(GetThirdPartyLibVersionInfo().contains("test-a"));
}

TEST(ThirdPartyLibVersionInfo, SecondRegistrationReplacesTheFirst) {
  RegisterThirdPartyLibVersionInfo("test", "1");
  RegisterThirdPartyLibVersionInfo("test", "2");
  EXPECT_EQ(GetThirdPartyLibVersionInfo().at("test"), "2");
  UnRegisterThirdPartyLibVersionInfo("test");
  EXPECT_FALSE(GetThirdPartyLibVersionInfo().contains("test"));
}

TEST(ThirdPartyLibVersionInfo, TextsAreCopied) {
  string name = "test-copy";
  string version = "3";
  RegisterThirdPartyLibVersionInfo(name.c_str(), version.c_str());
  name[0] = version[0] = 'x';
  EXPECT_EQ(GetThirdPartyLibVersionInfo().at("test-copy"), "3");
  UnRegisterThirdPartyLibVersionInfo("test-copy");
}

TEST(ThirdPartyLibVersionInfo, RemovingWhatIsNotThereDoesNothing) {
  const map<string, string> before = GetThirdPartyLibVersionInfo();
  UnRegisterThirdPartyLibVersionInfo("never registered");
  EXPECT_EQ(GetThirdPartyLibVersionInfo(), before);
}

}  // namespace
}  // namespace qx::impl
