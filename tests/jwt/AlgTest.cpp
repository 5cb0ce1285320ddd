#include "netweft/jwt/Alg.h"

#include "netweft/jwt/internal/AlgTraits.h"

#include <gtest/gtest.h>

namespace qx::jwt {
namespace {

struct Row {
  Alg alg;
  int value;
  const char* text;
  HashType hash;
};

const vector<Row> kRows{
    {HS256, 16, "HS256", HT_Sha256},   {HS384, 32, "HS384", HT_Sha384},   {HS512, 64, "HS512", HT_Sha512},
    {RS256, 128, "RS256", HT_Sha256},  {RS384, 256, "RS384", HT_Sha384},  {RS512, 512, "RS512", HT_Sha512},
    {ES256, 1024, "ES256", HT_Sha256}, {ES384, 2048, "ES384", HT_Sha384}, {ES512, 4096, "ES512", HT_Sha512}};

TEST(AlgTest, EachAlgorithmHasItsBitItsNameAndItsDigest) {
  for (const Row& row : kRows) {
    EXPECT_EQ(static_cast<int>(row.alg), row.value);
    EXPECT_EQ(AlgToString(row.alg), row.text);
    EXPECT_EQ(StringToAlg(row.text), row.alg);
    ASSERT_NE(FindAlgTraits(row.alg), nullptr);
    EXPECT_EQ(FindAlgTraits(row.alg)->hash, row.hash);
  }
}

TEST(AlgTest, TheFamiliesAreTheirMasks) {
  EXPECT_EQ(sHmacAlgs, 112);
  EXPECT_EQ(sRsaAlgs, 896);
  EXPECT_EQ(sEllipticCurveAlgs, 7168);
  EXPECT_EQ(sAsymmetricAlgs, 8064);
}

TEST(AlgTest, NoAlgorithmHasNoName) { EXPECT_EQ(AlgToString(AlgNone), ""); }

TEST(AlgTest, ACombinationHasNoName) {
  EXPECT_EQ(AlgToString(static_cast<Alg>(HS256 | HS384)), "");
  EXPECT_EQ(FindAlgTraits(HS256 | HS384), nullptr);
}

TEST(AlgTest, AnUnknownValueHasNoName) {
  for (const int value : {1, 8, 8192, -1}) EXPECT_EQ(AlgToString(static_cast<Alg>(value)), "") << value;
}

TEST(AlgTest, ANameIsKnownInAnyLetterCase) {
  EXPECT_EQ(StringToAlg("hs256"), HS256);
  EXPECT_EQ(StringToAlg("eS512"), ES512);
}

TEST(AlgTest, AnUnknownTextIsNoAlgorithm) {
  for (const char* text : {"", "none", "None", "NONE", "nOnE", "HS", "HS2566", " HS256", "HS256 ", "PS256", "EdDSA"}) {
    EXPECT_EQ(StringToAlg(text), AlgNone) << text;
  }
  EXPECT_EQ(StringToAlg(string("HS256\0", 6)), AlgNone);
}

}  // namespace
}  // namespace qx::jwt
