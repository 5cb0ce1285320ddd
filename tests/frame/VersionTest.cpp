#include "netweft/frame/Version.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace Netweft {
namespace {

TEST(VersionTest, NumbersAreThoseOfTheBuild) {
  EXPECT_EQ(Version::GetMajor(), 3U);
  EXPECT_EQ(Version::GetMinor(), 0U);
  EXPECT_EQ(Version::GetRelease(), 0U);
  EXPECT_EQ(Version::GetRevision(), 30U);
  EXPECT_EQ(Version::GetYear(), 2026);
  EXPECT_EQ(Version::GetMonth(), 6);
}

TEST(VersionTest, NumbersHaveFixedWidths) {
  EXPECT_TRUE((std::is_same_v<decltype(Version::GetMajor()), std::uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(Version::GetRevision()), std::uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(Version::GetYear()), std::uint16_t>));
  EXPECT_TRUE((std::is_same_v<decltype(Version::GetMonth()), std::uint8_t>));
}

TEST(VersionTest, TextsIgnoreTheirFlag) {
  for (const bool flag : {false, true}) {
    EXPECT_STREQ(Version::GetDescStringMajorMinor(flag), "3.0");
    EXPECT_STREQ(Version::GetDescStringMajorMinorRelease(flag), "3.0.0");
    EXPECT_STREQ(Version::GetDescStringMajorMinorReleaseRevision(flag), "3.0.0.30");
  }
}

TEST(VersionTest, TheMonthOfTheDateIsNotPadded) {
  EXPECT_STREQ(Version::GetDescStringMajorMinorReleaseRevisionDate(), "3.0.0.30 2026-6");
}

}  // namespace
}  // namespace Netweft
