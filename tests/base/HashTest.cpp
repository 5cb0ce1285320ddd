#include "netweft/base/crypto/Hash.h"

#include "netweft/base/system/qxStringUtils.h"
#include "tests/base/JwsExamples.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <thread>

namespace qx {
namespace {

string Hex(const bytes& data) {
  string text;
  qxStringUtils::ToHex(data.data(), data.size(), text);
  return text;
}

string Hash(const string& data, HashType type) {
  bytes out{'x'};
  EXPECT_TRUE(ComputeHash(data, type, out));
  return Hex(out);
}

string Hmac(HashType type, const string& key, const string& data) {
  bytes out{'x'};
  EXPECT_TRUE(ComputeHmac(type, key.data(), key.size(), data.data(), data.size(), out));
  return Hex(out);
}

TEST(HashTest, TypeNumbersAreFixed) {
  EXPECT_EQ(int{HT_Sha1}, 2);
  EXPECT_EQ(int{HT_Sha256}, 3);
  EXPECT_EQ(int{HT_Sha384}, 4);
  EXPECT_EQ(int{HT_Sha512}, 5);
}

TEST(HashTest, DigestsOfAbcAreThoseOfTheStandard) {
  EXPECT_EQ(Hash("abc", HT_Sha1), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(Hash("abc", HT_Sha256), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Hash("abc", HT_Sha384),
            "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7");
  EXPECT_EQ(Hash("abc", HT_Sha512),
            "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
            "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
}

TEST(HashTest, DigestsOfTwoBlocksAreThoseOfTheStandard) {
  const string data = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
  EXPECT_EQ(Hash(data, HT_Sha1), "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
  EXPECT_EQ(Hash(data, HT_Sha256), "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(HashTest, NothingHasADigestToo) {
  EXPECT_EQ(Hash("", HT_Sha1), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
  EXPECT_EQ(Hash("", HT_Sha256), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(HashTest, ANulInsideCounts) { EXPECT_NE(Hash(string("a\0b", 3), HT_Sha256), Hash("a", HT_Sha256)); }

TEST(HashTest, AnUnknownTypeFailsAndEmptiesTheResult) {
  for (const int type : {0, 1, 6, -1}) {
    bytes out{'x'};
    EXPECT_FALSE(ComputeHash("abc", static_cast<HashType>(type), out));
    EXPECT_TRUE(out.empty());
    out = {'x'};
    EXPECT_FALSE(ComputeHmac(static_cast<HashType>(type), "k", 1, "d", 1, out));
    EXPECT_TRUE(out.empty());
  }
}

struct HmacVector {
  const char* name;
  string key;
  string data;
  string sha256;
  string sha384;
  string sha512;
};

/// RFC 4231, cases 1 to 4, 6 and 7 (case 5 is about truncation).
vector<HmacVector> GetHmacVectors() {
  string counting;
  for (char c = 1; c <= 25; ++c) counting += c;
  return {
      {"case 1", string(20, '\x0b'), "Hi There", "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7",
       "afd03944d84895626b0825f4ab46907f15f9dadbe4101ec682aa034c7cebc59cfaea9ea9076ede7f4af152e8b2fa9cb6",
       "87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec2787ad0b30545e17cde"
       "daa833b7d6b8a702038b274eaea3f4e4be9d914eeb61f1702e696c203a126854"},
      {"case 2", "Jefe", "what do ya want for nothing?",
       "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843",
       "af45d2e376484031617f78d2b58a6b1b9c7ef464f5a01b47e42ec3736322445e8e2240ca5e69e2c78b3239ecfab21649",
       "164b7a7bfcf819e2e395fbe73b56e0a387bd64222e831fd610270cd7ea250554"
       "9758bf75c05a994a6d034f65f8f0e6fdcaeab1a34d4a6b4b636e070a38bce737"},
      {"case 3", string(20, '\xaa'), string(50, '\xdd'),
       "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe",
       "88062608d3e6ad8a0aa2ace014c8a86f0aa635d947ac9febe83ef4e55966144b2a5ab39dc13814b94e3ab6e101a34f27",
       "fa73b0089d56a284efb0f0756c890be9b1b5dbdd8ee81a3655f83e33b2279d39"
       "bf3e848279a722c806b485a47e67c807b946a337bee8942674278859e13292fb"},
      {"case 4", counting, string(50, '\xcd'), "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b",
       "3e8a69b7783c25851933ab6290af6ca77a9981480850009cc5577c6e1f573b4e6801dd23c4a7d679ccf8a386c674cffb",
       "b0ba465637458c6990e5a8c5f61d4af7e576d97ff94b872de76f8050361ee3db"
       "a91ca5c11aa25eb4d679275cc5788063a5f19741120c4f2de2adebeb10a298dd"},
      {"case 6", string(131, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
       "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54",
       "4ece084485813e9088d2c63a041bc5b44f9ef1012a2b588f3cd11f05033ac4c60c2ef6ab4030fe8296248df163f44952",
       "80b24263c7c1a3ebb71493c1dd7be8b49b46d1f41b4aeec1121b013783f8f352"
       "6b56d037e05f2598bd0fd2215d6a1e5295e64f73f63f0aec8b915a985d786598"},
      {"case 7", string(131, '\xaa'),
       "This is a test using a larger than block-size key and a larger than block-size data. The key needs to be "
       "hashed before being used by the HMAC algorithm.",
       "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2",
       "6617178e941f020d351e2f254e8fd32c602420feb0b8fb9adccebb82461e99c5a678cc31e799176d3860e6110c46523e",
       "e37b6a775dc87dbaa4dfa9f96e5e3ffddebd71f8867289865df5a32d20cdc944"
       "b6022cac3c4982b10d5eeb55c3e4de15134676fb6de0446065c97440fa8c6a58"},
  };
}

TEST(HashTest, HmacsAreThoseOfTheStandard) {
  for (const HmacVector& test : GetHmacVectors()) {
    EXPECT_EQ(Hmac(HT_Sha256, test.key, test.data), test.sha256) << test.name;
    EXPECT_EQ(Hmac(HT_Sha384, test.key, test.data), test.sha384) << test.name;
    EXPECT_EQ(Hmac(HT_Sha512, test.key, test.data), test.sha512) << test.name;
  }
}

TEST(HashTest, AnHmacWithSha1IsThatOfTheStandard) {
  EXPECT_EQ(Hmac(HT_Sha1, "Jefe", "what do ya want for nothing?"), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
}

TEST(HashTest, TheHmacOfATokenIsThatOfItsStandard) {
  const bytes key = test::FromUrlSafe(test::kHs256Key);
  bytes mac;
  EXPECT_TRUE(ComputeHmac(HT_Sha256, key.data(), key.size(), test::kHs256Input.data(), test::kHs256Input.size(), mac));
  EXPECT_EQ(mac, test::FromUrlSafe(test::kHs256Mac));
}

TEST(HashTest, AnEmptyKeyAndEmptyDataHaveAnHmac) {
  bytes out;
  EXPECT_TRUE(ComputeHmac(HT_Sha256, nullptr, 0, nullptr, 0, out));
  EXPECT_EQ(Hex(out), "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad");
}

TEST(HashTest, TheErrorQueueStaysAsItWas) {
  ERR_clear_error();
  ERR_raise(ERR_LIB_USER, 7);
  bytes out;
  EXPECT_FALSE(ComputeHash("abc", static_cast<HashType>(99), out));
  EXPECT_FALSE(ComputeHmac(static_cast<HashType>(99), "k", 1, "d", 1, out));
  EXPECT_TRUE(ComputeHash("abc", HT_Sha256, out));
  EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 7);
  EXPECT_EQ(ERR_get_error(), 0U);
}

TEST(HashTest, ManyThreadsHashAtOnce) {
  vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 200; ++round) {
        EXPECT_EQ(Hash("abc", HT_Sha1), "a9993e364706816aba3e25717850c26c9cd0d89d");
        EXPECT_EQ(Hmac(HT_Sha256, "Jefe", "what do ya want for nothing?"),
                  "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace qx
