#include "netweft/base/crypto/Hash.h"
#include "netweft/base/crypto/internal/EcdsaSignatureForm.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/jwt/CreateJwt.h"
#include "tests/base/PemKeys.h"
#include "tests/jwt/TokenSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

/// Tokens made here are verified by the `openssl` program, and the other way round, for every algorithm.
namespace qx::jwt {
namespace {

using namespace test;

/// A folder of files that the program reads and writes.
class OpenSslRoundTripTest : public testing::Test {
 protected:
  void SetUp() override {
    string name = (std::filesystem::temp_directory_path() / "netweft-jwt-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    mFolder = name;
    if (std::system("openssl version >/dev/null 2>&1") != 0) GTEST_SKIP() << "there is no openssl program here";
  }
  void TearDown() override {
    if (!mFolder.empty()) std::filesystem::remove_all(mFolder);
  }

  void write(const string& name, const string& content) const {
    std::ofstream(mFolder / name, std::ios::binary) << content;
  }
  string read(const string& name) const {
    std::ifstream file(mFolder / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  /// True when the program leaves with 0. It runs in the folder.
  bool run(const string& arguments) const {
    const string command = "cd '" + mFolder.string() + "' && openssl " + arguments + " >output 2>&1";
    return std::system(command.c_str()) == 0;
  }

 private:
  std::filesystem::path mFolder;
};

string GetDigestOption(Alg alg) { return " -sha" + AlgToString(alg).substr(2); }

bool IsCurve(Alg alg) { return (alg & sEllipticCurveAlgs) != 0; }

const qx::test::PemKey& GetPemFor(Alg alg) {
  if (!IsCurve(alg)) return qx::test::GetRsaPem(2048);
  return qx::test::GetCurvePem(alg == ES256 ? "P-256" : alg == ES384 ? "P-384" : "P-521");
}

size_t GetFieldBytes(Alg alg) { return alg == ES256 ? 32 : alg == ES384 ? 48 : 66; }

string ToProgramForm(const string& signature, Alg alg) {
  if (!IsCurve(alg)) return signature;
  bytes der;
  EXPECT_TRUE(qx::impl::EcdsaRawToDer(signature.data(), signature.size() / 2, der));
  return {der.begin(), der.end()};
}

string FromProgramForm(const string& signature, Alg alg) {
  if (!IsCurve(alg)) return signature;
  bytes raw;
  EXPECT_TRUE(qx::impl::EcdsaDerToRaw({signature.begin(), signature.end()}, GetFieldBytes(alg), raw));
  return {raw.begin(), raw.end()};
}

string ToHex(const string& raw) {
  string hex;
  qxStringUtils::ToHex(raw.data(), raw.size(), hex);
  return hex;
}

TEST_F(OpenSslRoundTripTest, WhatIsSignedHereIsVerifiedByTheProgram) {
  for (const Alg alg : kAsymmetricAlgs) {
    qxVariantMapImpl claims = ParseMap(kClaims);
    string token;
    ASSERT_TRUE(CreateSignedJwt(claims, *GetKeyFor(alg), alg, token, 0));
    write("text", GetText(token));
    write("other", GetText(token) + "x");
    write("signature", ToProgramForm(FromUrlSafe(GetSignature(token)), alg));
    write("public.pem", GetPemFor(alg).publicKey);
    const string verify = "dgst" + GetDigestOption(alg) + " -verify public.pem -signature signature ";
    EXPECT_TRUE(run(verify + "text")) << AlgToString(alg) << read("output");
    EXPECT_FALSE(run(verify + "other")) << AlgToString(alg);
  }
}

TEST_F(OpenSslRoundTripTest, WhatTheProgramSignedIsVerifiedHere) {
  for (const Alg alg : kAsymmetricAlgs) {
    const string text = MakeText(MakeHeader(alg), kClaims);
    write("text", text);
    write("private.pem", GetPemFor(alg).pkcs8);
    ASSERT_TRUE(run("dgst" + GetDigestOption(alg) + " -sign private.pem -out signature text")) << read("output");
    const string signature = ToUrlSafe(FromProgramForm(read("signature"), alg));
    EXPECT_EQ(GetSignedCause(text + "." + signature, alg), Verifier::RC_None) << AlgToString(alg);
    EXPECT_EQ(GetSignedCause(MakeText(MakeHeader(alg), "{}") + "." + signature, alg), Verifier::RC_SignatureMismatch);
  }
}

TEST_F(OpenSslRoundTripTest, BothMakeTheSameMac) {
  for (const Alg alg : kHmacAlgs) {
    qxVariantMapImpl claims = ParseMap(kClaims);
    string token;
    ASSERT_TRUE(CreateHashedJwt(claims, kSecret, alg, token, 0));
    write("text", GetText(token));
    ASSERT_TRUE(
        run("dgst" + GetDigestOption(alg) + " -mac HMAC -macopt hexkey:" + ToHex(kSecret) + " -binary -out mac text"))
        << read("output");
    EXPECT_EQ(GetSignature(token), ToUrlSafe(read("mac"))) << AlgToString(alg);
  }
}

}  // namespace
}  // namespace qx::jwt
