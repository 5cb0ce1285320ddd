#include "netweft/base/crypto/internal/KeyContexts.h"

#include <gtest/gtest.h>

#include <thread>

namespace qx::impl {
namespace {

const EvpPkeyPtr& GetKey() {
  static const EvpPkeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  return key;
}

const unsigned char kDigest[32] = {1, 2, 3};

bytes Sign(EVP_PKEY_CTX* context) {
  bytes signature(128);
  size_t size = signature.size();
  EXPECT_EQ(EVP_PKEY_sign(context, ToUnsigned(signature.data()), &size, kDigest, sizeof kDigest), 1);
  signature.resize(size);
  return signature;
}

bool Matches(EVP_PKEY_CTX* context, const bytes& signature) {
  return EVP_PKEY_verify(context, ToUnsigned(signature.data()), signature.size(), kDigest, sizeof kDigest) == 1;
}

TEST(KeyContextsTest, ACopySignsAndAnotherVerifies) {
  KeyContexts contexts;
  for (int round = 0; round < 3; ++round) {
    const EvpPkeyCtxPtr signer = contexts.copy(GetKey().get(), KeyContexts::O_Sign, HT_Sha256);
    const EvpPkeyCtxPtr verifier = contexts.copy(GetKey().get(), KeyContexts::O_Verify, HT_Sha256);
    ASSERT_NE(signer, nullptr);
    ASSERT_NE(verifier, nullptr);
    EXPECT_TRUE(Matches(verifier.get(), Sign(signer.get())));
  }
}

TEST(KeyContextsTest, EveryCallGetsAContextOfItsOwn) {
  KeyContexts contexts;
  const EvpPkeyCtxPtr first = contexts.copy(GetKey().get(), KeyContexts::O_Sign, HT_Sha256);
  const EvpPkeyCtxPtr second = contexts.copy(GetKey().get(), KeyContexts::O_Sign, HT_Sha256);
  EXPECT_NE(first, second);
}

TEST(KeyContextsTest, ACopyOutlivesWhatItWasCopiedFrom) {
  EvpPkeyCtxPtr signer;
  {
    KeyContexts contexts;
    signer = contexts.copy(GetKey().get(), KeyContexts::O_Sign, HT_Sha256);
  }
  EXPECT_FALSE(Sign(signer.get()).empty());
}

TEST(KeyContextsTest, DigestsThatSignNothingGiveNone) {
  KeyContexts contexts;
  for (const int type : {0, int(HT_Sha1), 6, -1}) {
    EXPECT_EQ(contexts.copy(GetKey().get(), KeyContexts::O_Sign, static_cast<HashType>(type)), nullptr);
  }
}

TEST(KeyContextsTest, ManyThreadsMayMakeTheFirstOneAtOnce) {
  for (int round = 0; round < 20; ++round) {
    KeyContexts contexts;
    vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&contexts] {
        const EvpPkeyCtxPtr signer = contexts.copy(GetKey().get(), KeyContexts::O_Sign, HT_Sha256);
        const EvpPkeyCtxPtr verifier = contexts.copy(GetKey().get(), KeyContexts::O_Verify, HT_Sha256);
        EXPECT_TRUE(Matches(verifier.get(), Sign(signer.get())));
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
}

}  // namespace
}  // namespace qx::impl
