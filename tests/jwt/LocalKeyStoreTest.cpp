#include "netweft/jwt/LocalKeyStore.h"

#include "netweft/base/crypto/RSAKey.h"
#include "tests/base/JwsExamples.h"
#include "tests/base/VirtualSlot.h"
#include "tests/support/AllocationHooks.h"

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>

namespace qx::jwt {
namespace {

static_assert(std::is_base_of_v<KeyProvider, LocalKeyStore>);
static_assert(std::has_virtual_destructor_v<LocalKeyStore>);
static_assert(!std::is_destructible_v<KeyProvider>);

shared_ptr<AsymmetricKey> MakeKey() {
  return std::make_shared<RSAKey>(qx::test::FromUrlSafe(qx::test::kRs256N), qx::test::FromUrlSafe(qx::test::kRs256E));
}

/// A store with the key "a" for RS256.
class LocalKeyStoreTest : public testing::Test {
 protected:
  LocalKeyStoreTest() { EXPECT_TRUE(store.addKey("a", key, RS256)); }

  shared_ptr<AsymmetricKey> find(const string& kid, Alg alg = RS256) { return store.getKeyFromId(kid, alg, &error); }

  const shared_ptr<AsymmetricKey> key = MakeKey();
  LocalKeyStore store;
  string error = "before";
};

TEST_F(LocalKeyStoreTest, AKeyIsFoundUnderItsIdentifier) {
  EXPECT_EQ(find("a"), key);
  EXPECT_EQ(error, "before");
}

TEST_F(LocalKeyStoreTest, AnUnknownIdentifierIsTold) {
  EXPECT_EQ(find("b"), nullptr);
  EXPECT_EQ(error, "LocalKeyStore : Unknown jwt key id b");
}

TEST_F(LocalKeyStoreTest, AnEmptyIdentifierIsUnknown) {
  EXPECT_EQ(find(""), nullptr);
  EXPECT_EQ(error, "LocalKeyStore : Unknown jwt key id ");
}

TEST_F(LocalKeyStoreTest, AnAlgorithmOutsideTheMaskIsTold) {
  EXPECT_EQ(find("a", RS384), nullptr);
  EXPECT_EQ(error, "LocalKeyStore : Unsupported jwt alg RS384");
}

TEST_F(LocalKeyStoreTest, TheMaskMustHoldEveryBitOfTheAlgorithm) {
  EXPECT_TRUE(store.addKey("b", key, RS256 | RS384));
  EXPECT_EQ(find("b", static_cast<Alg>(RS256 | RS384)), key);
  EXPECT_EQ(find("b", static_cast<Alg>(RS256 | RS512)), nullptr);
  EXPECT_EQ(error, "LocalKeyStore : Unsupported jwt alg ");
}

TEST_F(LocalKeyStoreTest, TheErrorMayBeNull) {
  EXPECT_EQ(store.getKeyFromId("b", RS256, nullptr), nullptr);
  EXPECT_EQ(store.getKeyFromId("a", ES256, nullptr), nullptr);
  EXPECT_EQ(store.getKeyFromId("a", RS256, nullptr), key);
}

TEST_F(LocalKeyStoreTest, AnEmptyIdentifierIsNotAdded) {
  EXPECT_FALSE(store.addKey("", key, RS256));
  EXPECT_EQ(find(""), nullptr);
}

TEST_F(LocalKeyStoreTest, AKnownIdentifierKeepsItsFirstKeyAndMask) {
  EXPECT_FALSE(store.addKey("a", MakeKey(), ES256));
  EXPECT_EQ(find("a"), key);
  EXPECT_EQ(find("a", ES256), nullptr);
}

TEST_F(LocalKeyStoreTest, ARemovedKeyIsGoneAndItsIdentifierFree) {
  EXPECT_TRUE(store.removeKey("a", key));
  EXPECT_EQ(find("a"), nullptr);
  EXPECT_FALSE(store.removeKey("a", key));
  const shared_ptr<AsymmetricKey> other = MakeKey();
  EXPECT_TRUE(store.addKey("a", other, RS256));
  EXPECT_EQ(find("a"), other);
}

TEST_F(LocalKeyStoreTest, TheKeyGivenToARemovalDecidesNothing) {
  EXPECT_TRUE(store.removeKey("a", MakeKey()));
  EXPECT_EQ(find("a"), nullptr);
  EXPECT_TRUE(store.addKey("a", key, RS256));
  EXPECT_TRUE(store.removeKey("a", nullptr));
  EXPECT_FALSE(store.removeKey("b", key));
}

TEST_F(LocalKeyStoreTest, ARemovalReleasesTheKeyThatItWasGiven) {
  shared_ptr<AsymmetricKey> given = MakeKey();
  const std::weak_ptr<AsymmetricKey> watched = given;
  store.removeKey("b", std::move(given));
  EXPECT_TRUE(watched.expired());
}

TEST_F(LocalKeyStoreTest, AFoundKeyOutlivesItsRemoval) {
  const std::weak_ptr<AsymmetricKey> watched = find("a");
  const shared_ptr<AsymmetricKey> found = find("a");
  store.removeKey("a", nullptr);
  EXPECT_EQ(watched.lock(), found);
}

TEST_F(LocalKeyStoreTest, ACopyHasAMapOfItsOwnAndSharesTheKeys) {
  LocalKeyStore copy(store);
  EXPECT_EQ(copy.getKeyFromId("a", RS256, nullptr), key);
  EXPECT_TRUE(copy.removeKey("a", nullptr));
  EXPECT_EQ(find("a"), key);
}

TEST_F(LocalKeyStoreTest, AssignmentReplacesTheMapAndSharesTheKeys) {
  LocalKeyStore other;
  EXPECT_TRUE(other.addKey("b", MakeKey(), RS256));
  other = store;
  EXPECT_EQ(other.getKeyFromId("a", RS256, nullptr), key);
  EXPECT_EQ(other.getKeyFromId("b", RS256, nullptr), nullptr);
}

TEST_F(LocalKeyStoreTest, AKeyThatIsFoundAllocatesNothing) {
  const string kid = "a";
  const size_t before = qx::test::CountAllocations();
  const shared_ptr<AsymmetricKey> found = store.getKeyFromId(kid, RS256, &error);
  EXPECT_EQ(qx::test::CountAllocations(), before);
  EXPECT_EQ(found, key);
}

TEST_F(LocalKeyStoreTest, EightThreadsMayLookUpAtOnce) {
  vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([this] {
      for (int round = 0; round < 200; ++round) {
        string reason;
        EXPECT_EQ(store.getKeyFromId("a", RS256, &reason), key);
        EXPECT_EQ(store.getKeyFromId("b", RS256, &reason), nullptr);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(LocalKeyStoreTest, TheLookUpIsTheFirstVirtualOperation) {
  EXPECT_EQ(qx::test::VirtualSlot(&KeyProvider::getKeyFromId), 0);
  EXPECT_EQ(qx::test::VirtualSlot(&LocalKeyStore::getKeyFromId), 0);
}

}  // namespace
}  // namespace qx::jwt
