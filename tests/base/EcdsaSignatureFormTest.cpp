#include "netweft/base/crypto/internal/EcdsaSignatureForm.h"

#include <gtest/gtest.h>

namespace qx::impl {
namespace {

TEST(EcdsaSignatureFormTest, SmallNumbersAreFilledToTheField) {
  // SEQUENCE { INTEGER 1, INTEGER 128 }, the latter with its zero byte in front.
  const bytes der{0x30, 0x07, 0x02, 0x01, 0x01, 0x02, 0x02, 0x00, static_cast<char>(0x80)};
  bytes raw;
  ASSERT_TRUE(EcdsaDerToRaw(der, 4, raw));
  EXPECT_EQ(raw, (bytes{0, 0, 0, 1, 0, 0, 0, static_cast<char>(0x80)}));
  bytes back;
  ASSERT_TRUE(EcdsaRawToDer(raw.data(), 4, back));
  EXPECT_EQ(back, der);
}

TEST(EcdsaSignatureFormTest, ANumberLongerThanTheFieldFails) {
  const bytes der{0x30, 0x07, 0x02, 0x02, 0x01, 0x00, 0x02, 0x01, 0x01};
  bytes raw;
  EXPECT_FALSE(EcdsaDerToRaw(der, 1, raw));
}

TEST(EcdsaSignatureFormTest, WhatIsNoDerFails) {
  bytes raw;
  EXPECT_FALSE(EcdsaDerToRaw({}, 4, raw));
  EXPECT_FALSE(EcdsaDerToRaw({1, 2, 3}, 4, raw));
}

}  // namespace
}  // namespace qx::impl
