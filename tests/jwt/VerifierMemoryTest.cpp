#include "netweft/jwt/CreateJwt.h"
#include "tests/jwt/TokenSupport.h"
#include "tests/support/AllocationHooks.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>

/// What a check allocates, what it does without memory, and where the secret goes.
namespace qx::jwt {
namespace {

using namespace test;
using qx::test::AllocationLimit;
using qx::test::CountAllocations;
using qx::test::ReleaseWatch;

const string kLongSecret(200, 's');

/// The verifier's first word is where its secret's characters lie.
const char* GetSecretBlock(const Verifier& verifier) {
  const char* block = nullptr;
  std::memcpy(&block, &verifier, sizeof block);
  return block;
}

struct LongSecret {
  unique_ptr<Verifier> verifier = std::make_unique<Verifier>();
  const char* block;

  LongSecret() {
    verifier->setClientInfo(kLongSecret, nullptr, HS256, false);
    block = GetSecretBlock(*verifier);
    EXPECT_EQ(string(block, kLongSecret.size()), kLongSecret);
  }
};

bool Holds(const volatile unsigned char* memory, size_t size, const string& text) {
  for (size_t start = 0; start + text.size() <= size; ++start) {
    size_t i = 0;
    while (i < text.size() && memory[start + i] == static_cast<unsigned char>(text[i])) ++i;
    if (i == text.size()) return true;
  }
  return false;
}

TEST(VerifierMemoryTest, TheSecretIsWipedAtDestruction) {
  LongSecret owner;
  const ReleaseWatch watch(owner.block, kLongSecret.size());
  owner.verifier.reset();
  EXPECT_TRUE(watch.wasReleased());
  EXPECT_TRUE(watch.wasZero());
}

TEST(VerifierMemoryTest, TheSecretIsWipedWhenItIsReplaced) {
  LongSecret owner;
  const ReleaseWatch watch(owner.block, kLongSecret.size());
  owner.verifier->setClientInfo(string(100'000, 'n'), nullptr, HS256, false);
  EXPECT_TRUE(watch.wasReleased());
  EXPECT_TRUE(watch.wasZero());
}

TEST(VerifierMemoryTest, TheSecretIsWipedWhenItIsCleared) {
  LongSecret owner;
  const ReleaseWatch watch(owner.block, kLongSecret.size());
  owner.verifier->clearClientInfo();
  EXPECT_TRUE(watch.wasReleased());
  EXPECT_TRUE(watch.wasZero());
}

TEST(VerifierMemoryTest, AShortSecretIsWipedToo) {
  const string secret = "0123456789";
  alignas(Verifier) unsigned char memory[sizeof(Verifier)];
  auto* verifier = new (memory) Verifier;
  verifier->setClientInfo(secret, nullptr, HS256, false);
  ASSERT_TRUE(Holds(memory, sizeof memory, secret));
  verifier->~Verifier();
  EXPECT_FALSE(Holds(memory, sizeof memory, secret.substr(0, 2)));
}

/// Of one check that is good, after another has made ready what is made once.
size_t CountForCheck(const Verifier& verifier, const string& token) {
  qxVariantMapImpl claims;
  EXPECT_TRUE(verifier.validateJwtWithTimeBase(token, claims, kNow, nullptr));
  const size_t before = CountAllocations();
  EXPECT_TRUE(verifier.validateJwtWithTimeBase(token, claims, kNow, nullptr));
  return CountAllocations() - before;
}

/// What it takes to have the maps, without any check.
size_t CountForMaps(const string& token) {
  qxVariantMapImpl header;
  qxVariantMapImpl payload;
  const size_t before = CountAllocations();
  EXPECT_TRUE(Verifier::ExtractJwtContentNoValidation(token.data(), token.size(), header, &payload));
  return CountAllocations() - before;
}

TEST(VerifierMemoryTest, AnHmacCheckOfAShortTokenMakesAHandfulOfAllocations) {
  Verifier verifier;
  verifier.setClientInfo(kSecret, nullptr, HS256, false);
  const string token = MakeMacToken(kHs256Header, kClaims);
  const size_t all = CountForCheck(verifier, token);
  EXPECT_LE(all - CountForMaps(token), 2U);
  EXPECT_LE(all, 12U);
}

TEST(VerifierMemoryTest, ASignatureCheckAllocatesLittleMore) {
  for (const Alg alg : {RS256, ES256}) {
    OneKeyProvider provider(GetKeyFor(alg));
    Verifier verifier;
    verifier.setClientInfo({}, &provider, alg, false);
    const string token = MakeSignedToken(MakeHeader(alg), kClaims, *provider.key);
    EXPECT_LE(CountForCheck(verifier, token) - CountForMaps(token), 3U) << AlgToString(alg);
  }
}

TEST(VerifierMemoryTest, MissingMemoryReachesTheCallerOfACheck) {
  OneKeyProvider provider(GetKeyFor(ES256));
  Verifier verifier;
  verifier.setClientInfo(kSecret, &provider, HS256 | ES256, false);
  for (const string& token :
       {MakeMacToken(kHs256Header, kClaims), MakeSignedToken(MakeHeader(ES256), kClaims, *provider.key)}) {
    qxVariantMapImpl claims;
    ASSERT_TRUE(verifier.validateJwtWithTimeBase(token, claims, kNow, nullptr));
    claims.clear();
    for (size_t allowed = 0;; ++allowed) {
      bool thrown = false;
      bool done = false;
      {
        const AllocationLimit limit(allowed);
        try {
          done = verifier.validateJwtWithTimeBase(token, claims, kNow, nullptr);
        } catch (const std::bad_alloc&) {
          thrown = true;
        }
      }
      if (done) break;
      ASSERT_TRUE(thrown) << allowed;
      ASSERT_TRUE(claims.empty());
      ASSERT_LT(allowed, 100U);
    }
  }
}

TEST(VerifierMemoryTest, MissingMemoryReachesTheCallerOfACreationAndLeavesTheToken) {
  for (size_t allowed = 0;; ++allowed) {
    qxVariantMapImpl claims = ParseMap(R"({"exp":1700000600,"iat":1700000000})");
    string token = "untouched";
    bool thrown = false;
    bool done = false;
    {
      const AllocationLimit limit(allowed);
      try {
        done = CreateHashedJwt(claims, kSecret, HS256, token, 0);
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
    }
    if (done) break;
    ASSERT_TRUE(thrown) << allowed;
    ASSERT_EQ(token, "untouched");
    ASSERT_LT(allowed, 100U);
  }
}

}  // namespace
}  // namespace qx::jwt
