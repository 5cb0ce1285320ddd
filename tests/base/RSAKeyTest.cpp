#include "netweft/base/crypto/RSAKey.h"

#include "tests/base/JwsExamples.h"
#include "tests/base/PemKeys.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

namespace qx {
namespace {

const bytes kExponent65537{1, 0, 1};

bytes MakeModulus(size_t bits) {
  bytes modulus((bits + 7) / 8, '\x5a');
  modulus.front() = static_cast<char>(1 << ((bits - 1) % 8));
  modulus.back() = '\x5b';
  return modulus;
}

void ExpectRefused(const RSAKey& key) {
  EXPECT_TRUE(key.hasError());
  EXPECT_NE(key.getErrorMessage(), "");
  EXPECT_EQ(key.capabilities, 0);
  EXPECT_FALSE(key.canSign());
}

void ExpectRefused(const bytes& n, const bytes& e) { ExpectRefused(RSAKey(n, e)); }

TEST(RSAKeyTest, NumbersMakeAPublicKey) {
  const RSAKey key(test::FromUrlSafe(test::kRs256N), test::FromUrlSafe(test::kRs256E));
  EXPECT_FALSE(key.hasError()) << key.getErrorMessage();
  EXPECT_EQ(key.getErrorMessage(), "");
  EXPECT_EQ(key.getKind(), AsymmetricKey::AK_Rsa);
  EXPECT_EQ(key.capabilities, AsymmetricKey::AC_Verify);
  EXPECT_FALSE(key.canSign());
  EXPECT_EQ(key.keyId, "");
}

TEST(RSAKeyTest, LeadingZerosAreIgnored) {
  bytes n = test::FromUrlSafe(test::kRs256N);
  n.insert(n.begin(), 5, '\0');
  EXPECT_FALSE(RSAKey(n, {0, 0, 1, 0, 1}).hasError());
}

TEST(RSAKeyTest, AModulusHas2048To16384Bits) {
  ExpectRefused(MakeModulus(2047), kExponent65537);
  EXPECT_FALSE(RSAKey(MakeModulus(2048), kExponent65537).hasError());
  EXPECT_FALSE(RSAKey(MakeModulus(16384), kExponent65537).hasError());
  ExpectRefused(MakeModulus(16385), kExponent65537);
  ExpectRefused(MakeModulus(16392), kExponent65537);
  ExpectRefused(MakeModulus(32768), kExponent65537);
}

TEST(RSAKeyTest, AnEndlessModulusIsRefused) { ExpectRefused(bytes(10 << 20, '\xFF'), kExponent65537); }

TEST(RSAKeyTest, LeadingZerosDoNotMakeAShortModulusLong) {
  bytes n = MakeModulus(1024);
  n.insert(n.begin(), 200, '\0');
  ExpectRefused(n, kExponent65537);
}

TEST(RSAKeyTest, AnEvenModulusIsRefused) {
  bytes n = MakeModulus(2048);
  n.back() = '\x5a';
  ExpectRefused(n, kExponent65537);
}

TEST(RSAKeyTest, AnExponentOfOneIsRefused) {
  ExpectRefused(MakeModulus(2048), {1});
  ExpectRefused(MakeModulus(2048), {0, 0, 1});
}

TEST(RSAKeyTest, AnExponentIsOddAndAtLeastThree) {
  ExpectRefused(MakeModulus(2048), {});
  ExpectRefused(MakeModulus(2048), {0});
  ExpectRefused(MakeModulus(2048), {2});
  ExpectRefused(MakeModulus(2048), {4});
  ExpectRefused(MakeModulus(2048), {1, 0, 0});
  EXPECT_FALSE(RSAKey(MakeModulus(2048), {3}).hasError());
}

TEST(RSAKeyTest, AnExponentThatTheCryptoLibraryWouldNotUseIsRefused) {
  ExpectRefused(MakeModulus(2048), MakeModulus(2048));
  ExpectRefused(MakeModulus(2048), MakeModulus(4096));
  ExpectRefused(MakeModulus(3073), MakeModulus(65));
  EXPECT_FALSE(RSAKey(MakeModulus(3072), MakeModulus(65)).hasError());
  EXPECT_FALSE(RSAKey(MakeModulus(3073), MakeModulus(64)).hasError());
}

TEST(RSAKeyTest, EmptyNumbersAreRefused) { ExpectRefused({}, {}); }

TEST(RSAKeyTest, PrivatePemMakesAKeyThatSigns) {
  const test::PemKey& pem = test::GetRsaPem(2048);
  ASSERT_NE(pem.pkcs8.find("BEGIN PRIVATE KEY"), string::npos);
  ASSERT_NE(pem.traditional.find("BEGIN RSA PRIVATE KEY"), string::npos);
  for (const string& text : {pem.pkcs8, pem.traditional}) {
    const RSAKey key(text);
    EXPECT_FALSE(key.hasError()) << key.getErrorMessage();
    EXPECT_EQ(key.capabilities, AsymmetricKey::AC_Verify | AsymmetricKey::AC_Sign);
    EXPECT_TRUE(key.canSign());
  }
}

TEST(RSAKeyTest, PublicPemMakesAKeyThatOnlyVerifies) {
  const RSAKey key(test::GetRsaPem(2048).publicKey);
  EXPECT_FALSE(key.hasError()) << key.getErrorMessage();
  EXPECT_FALSE(key.canSign());
}

TEST(RSAKeyTest, PublicPemOfTheOlderFormMakesAKeyToo) {
  const string pem = test::ToRsaPublicKeyPem(test::GetRsaPem(2048));
  ASSERT_NE(pem.find("BEGIN RSA PUBLIC KEY"), string::npos);
  const RSAKey key(pem);
  EXPECT_FALSE(key.hasError()) << key.getErrorMessage();
  EXPECT_FALSE(key.canSign());
}

TEST(RSAKeyTest, EncryptedPemIsRefusedWithoutAskingForItsPassword) {
  const test::PemKey& pem = test::GetRsaPem(2048);
  ASSERT_NE(pem.encryptedPkcs8.find("ENCRYPTED"), string::npos);
  ASSERT_NE(pem.encryptedTraditional.find("ENCRYPTED"), string::npos);
  ExpectRefused(RSAKey(pem.encryptedPkcs8));
  ExpectRefused(RSAKey(pem.encryptedTraditional));
}

TEST(RSAKeyTest, PemOfAnotherKindIsRefused) {
  ExpectRefused(RSAKey(test::GetCurvePem("P-256").pkcs8));
  ExpectRefused(RSAKey(test::GetCurvePem("P-256").publicKey));
  ExpectRefused(RSAKey(test::GetEd25519Pem().pkcs8));
}

TEST(RSAKeyTest, AShortKeyInPemIsRefused) { ExpectRefused(RSAKey(test::GetRsaPem(1024).pkcs8)); }

TEST(RSAKeyTest, HostileNumbersInPemAreRefused) {
  EXPECT_FALSE(RSAKey(test::MakeRsaPublicPem(MakeModulus(2048), kExponent65537)).hasError());
  ExpectRefused(RSAKey(test::MakeRsaPublicPem(MakeModulus(2048), {1})));
  ExpectRefused(RSAKey(test::MakeRsaPublicPem(MakeModulus(2048), {2})));
  ExpectRefused(RSAKey(test::MakeRsaPublicPem(MakeModulus(2047), kExponent65537)));
  ExpectRefused(RSAKey(test::MakeRsaPublicPem(MakeModulus(32768), kExponent65537)));
  bytes even = MakeModulus(2048);
  even.back() = '\x5a';
  ExpectRefused(RSAKey(test::MakeRsaPublicPem(even, kExponent65537)));
}

TEST(RSAKeyTest, WhatIsNoPemIsRefused) {
  ExpectRefused(RSAKey(string()));
  ExpectRefused(RSAKey(string("no key at all")));
  string cut = test::GetRsaPem(2048).pkcs8;
  cut.resize(cut.size() / 2);
  ExpectRefused(RSAKey(cut));
}

TEST(RSAKeyTest, TheErrorQueueStaysAsItWas) {
  ERR_clear_error();
  const RSAKey bad(string("no key at all"));
  const RSAKey encrypted(test::GetRsaPem(2048).encryptedPkcs8);
  const RSAKey even(bytes(256, '\x02'), kExponent65537);
  EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
}  // namespace qx
