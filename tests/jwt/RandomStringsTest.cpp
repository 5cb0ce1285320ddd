#include "netweft/jwt/RandomStrings.h"

#include "netweft/base/crypto/Base64.h"

#include <gtest/gtest.h>

namespace qx::jwt {
namespace {

size_t CountDecoded(const string& text, Base64CharSet charSet) {
  bytes out;
  EXPECT_TRUE(base64Decode(text, out, charSet)) << text;
  return out.size();
}

TEST(RandomStringsTest, TheCountIsOfRandomBytes) {
  for (const uint64 n : {1U, 2U, 3U, 16U, 1000U}) {
    EXPECT_EQ(CountDecoded(CreateRandB64String(n), B64_UrlSafeBare), n);
    EXPECT_EQ(CreateRandHexString(n).size(), 2 * n);
    EXPECT_EQ(CountDecoded(CreateSalt(n), B64_UrlSafe), n);
  }
}

TEST(RandomStringsTest, NoneCountsAsOneInBase64) {
  EXPECT_EQ(CountDecoded(CreateRandB64String(0), B64_UrlSafeBare), 1U);
}

TEST(RandomStringsTest, NoneGivesTwoHexadecimalDigits) {
  const string text = CreateRandHexString(0);
  EXPECT_EQ(text.size(), 2U);
  EXPECT_EQ(text.find_first_not_of("0123456789abcdef"), string::npos) << text;
}

TEST(RandomStringsTest, ASaltOfNoneIsEmpty) { EXPECT_EQ(CreateSalt(0), ""); }

TEST(RandomStringsTest, ASaltIsPadded) { EXPECT_EQ(CreateSalt(1).substr(2), "=="); }

TEST(RandomStringsTest, EachIsAnother) {
  set<string> seen;
  for (int i = 0; i < 50; ++i) {
    seen.insert(CreateRandB64String(16));
    seen.insert(CreateRandHexString(16));
    seen.insert(CreateSalt(16));
  }
  EXPECT_EQ(seen.size(), 150U);
}

}  // namespace
}  // namespace qx::jwt
