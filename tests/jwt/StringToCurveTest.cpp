#include "netweft/jwt/StringToCurve.h"

#include <gtest/gtest.h>

namespace qx::jwt {
namespace {

TEST(StringToCurveTest, ThreeNamesAreKnown) {
  EXPECT_EQ(static_cast<int>(StringToCurve("P-256")), 3);
  EXPECT_EQ(static_cast<int>(StringToCurve("P-384")), 4);
  EXPECT_EQ(static_cast<int>(StringToCurve("P-512")), 5);
}

TEST(StringToCurveTest, TheRegistrysNameOfTheThirdIsUnknown) { EXPECT_EQ(StringToCurve("P-521"), EC_Unknown); }

TEST(StringToCurveTest, NamesAreComparedByteForByte) {
  for (const char* name : {"", "p-256", "P-256 ", " P-256", "P256", "secp256k1", "P-25", "P-2560", "prime256v1"}) {
    EXPECT_EQ(StringToCurve(name), EC_Unknown) << name;
  }
  EXPECT_EQ(StringToCurve(string("P-256\0", 6)), EC_Unknown);
}

TEST(StringToCurveTest, TheCurvesAreThoseOfTheKeys) {
  EXPECT_EQ(StringToCurve("P-256"), EC_P256);
  EXPECT_EQ(StringToCurve("P-384"), EC_P384);
  EXPECT_EQ(StringToCurve("P-512"), EC_P521);
}

}  // namespace
}  // namespace qx::jwt
