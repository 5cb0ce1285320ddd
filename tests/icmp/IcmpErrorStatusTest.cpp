#include "netweft/icmp/internal/IcmpErrorStatus.h"

#include <gtest/gtest.h>

#include <map>

namespace qx::test {
namespace {

using namespace impl;

/// The status as a number, 0 for a remark that ends no echo.
uint32 Translate(IcmpFamily family, int type, int code) {
  const auto status = TranslateIcmpError(family, static_cast<unsigned char>(type), static_cast<unsigned char>(code));
  return status ? static_cast<uint32>(*status) : 0;
}

using Known = std::map<std::pair<int, int>, uint32>;

void ExpectTranslations(IcmpFamily family, const Known& known, const std::set<int>& remarks, int typeOfAnyCode) {
  for (int type = 0; type < 256; ++type) {
    for (int code = 0; code < 256; ++code) {
      const auto found = known.find({type, type == typeOfAnyCode ? 0 : code});
      const uint32 expected = remarks.count(type) != 0 ? 0 : found != known.end() ? found->second : 11040;
      ASSERT_EQ(Translate(family, type, code), expected) << type << "/" << code;
    }
  }
}

TEST(IcmpErrorStatusTest, EveryErrorOfIpv4HasItsStatus) {
  const Known known = {{{3, 0}, 11002}, {{3, 1}, 11003}, {{3, 2}, 11004},  {{3, 3}, 11005},
                       {{3, 4}, 11009}, {{3, 5}, 11012}, {{11, 0}, 11013}, {{12, 0}, 11015}};
  ExpectTranslations(IcmpFamily::V4, known, {4, 5}, 12);
}

TEST(IcmpErrorStatusTest, EveryErrorOfIpv6HasItsStatus) {
  const Known known = {{{1, 0}, 11002}, {{1, 3}, 11003}, {{1, 4}, 11005}, {{2, 0}, 11009},
                       {{3, 0}, 11013}, {{4, 0}, 11042}, {{4, 1}, 11043}};
  ExpectTranslations(IcmpFamily::V6, known, {137}, -1);
}

}  // namespace
}  // namespace qx::test
