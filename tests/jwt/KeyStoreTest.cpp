#include "netweft/jwt/KeyStore.h"

#include "netweft/base/crypto/DigestAsymmetric.h"
#include "netweft/base/crypto/EllipticCurveKey.h"
#include "netweft/base/system/qxMutex.h"
#include "netweft/base/system/qxMutexLocker.h"
#include "netweft/jwt/CreateJwt.h"
#include "netweft/jwt/Verifier.h"
#include "tests/base/PemKeys.h"
#include "tests/base/VirtualSlot.h"
#include "tests/jwt/KeyStoreFixture.h"
#include "tests/support/AllocationHooks.h"

#include <openssl/core_names.h>

#include <thread>
#include <type_traits>

namespace qx::jwt::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_final_v<KeyStore> && !std::has_virtual_destructor_v<KeyStore>);

class KeyStoreTest : public KeyStoreFixture {
 protected:
  /// An alias that is never destroyed, as all but one must be.
  struct Alias {
    explicit Alias(const KeyStore& source) : store(new(memory) KeyStore(source)) {}

    alignas(KeyStore) std::byte memory[sizeof(KeyStore)];
    KeyStore* store;
  };
};

TEST_F(KeyStoreTest, BuildingAStoreFetchesNothing) {
  EXPECT_EQ(server->getAcceptedConnections(), 0U);
  store.clearExpired();
  EXPECT_EQ(server->getAcceptedConnections(), 0U);
}

TEST_F(KeyStoreTest, TheFirstLookUpFetchesOnceAndStoresEveryUsableKey) {
  EXPECT_TRUE(has("rsa"));
  EXPECT_TRUE(has("rsa", RS512));
  EXPECT_TRUE(has("curve", ES256));
  EXPECT_EQ(server->getRequestCount(), 1U);
  EXPECT_THAT(warnings(), IsEmpty());
}

TEST_F(KeyStoreTest, AKeyOnceFoundStaysTheSameObject) {
  EXPECT_EQ(store.getKeyFromId("rsa", RS256, nullptr), store.getKeyFromId("rsa", RS384, nullptr));
}

TEST_F(KeyStoreTest, ASymmetricKeyBesideAGoodOneIsRejectedAlone) {
  EXPECT_TRUE(has("rsa"));
  EXPECT_EQ(explain("oct", HS256), "Key {oct} is invalid : Rejected (key is symmetric)");
  EXPECT_EQ(explain("oct"), "Key {oct} is invalid : Rejected (key is symmetric)");
  EXPECT_EQ(server->getRequestCount(), 1U);
}

TEST_F(KeyStoreTest, RejectionsAreNotLogged) {
  EXPECT_NE(explain("oct"), "");
  EXPECT_THAT(warnings(), IsEmpty());
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
}

TEST_F(KeyStoreTest, AnUnknownIdentifierCostsOneFetchForEachLookUp) {
  for (uint64 i = 1; i <= 3; ++i) {
    EXPECT_EQ(explain("nobody"), "No such key {nobody}");
    EXPECT_EQ(server->getRequestCount(), i);
  }
  EXPECT_THAT(warnings(), IsEmpty());
}

TEST_F(KeyStoreTest, AnEmptyIdentifierIsUnknown) { EXPECT_EQ(explain(""), "No such key {}"); }

TEST_F(KeyStoreTest, ACurveKeyIsNotMeantForAnRsaAlgorithm) {
  EXPECT_EQ(explain("curve", RS256), "Key {curve} ( is not meant for the algorithm RS256");
  EXPECT_EQ(explain("rsa", ES384), "Key {rsa} ( is not meant for the algorithm ES384");
  EXPECT_EQ(explain("rsa", AlgNone), "Key {rsa} ( is not meant for the algorithm ");
  EXPECT_EQ(server->getRequestCount(), 1U);
}

TEST_F(KeyStoreTest, OneCommonAlgorithmIsEnough) { EXPECT_TRUE(has("rsa", static_cast<Alg>(RS256 | ES256))); }

TEST_F(KeyStoreTest, TheErrorMayBeNull) {
  EXPECT_EQ(store.getKeyFromId("nobody", RS256, nullptr), nullptr);
  EXPECT_EQ(store.getKeyFromId("oct", RS256, nullptr), nullptr);
  EXPECT_EQ(store.getKeyFromId("curve", RS256, nullptr), nullptr);
  EXPECT_NE(store.getKeyFromId("rsa", RS256, nullptr), nullptr);
}

TEST_F(KeyStoreTest, AFetchedKeyVerifiesASignature) {
  const shared_ptr<AsymmetricKey> key = store.getKeyFromId("curve", ES256, nullptr);
  ASSERT_NE(key, nullptr);
  const bytes signature = qx::test::FromUrlSafe(qx::test::kEs256Signature);
  EXPECT_TRUE(VerifyDigestAsymmetric(signature.data(), signature.size(), qx::test::kEs256Input.data(),
                                     qx::test::kEs256Input.size(), *key, HT_Sha256, nullptr));
}

TEST_F(KeyStoreTest, AKeyOutlivesItsStore) {
  shared_ptr<AsymmetricKey> key;
  {
    KeyStore other = makeStore(url());
    key = other.getKeyFromId("rsa", RS256, nullptr);
  }
  ASSERT_NE(key, nullptr);
  EXPECT_FALSE(key->hasError());
}

/// A token made with a private key whose public half stands in the set.
class KeyStoreVerifierTest : public KeyStoreTest {
 protected:
  KeyStoreVerifierTest() {
    signer.keyId = "signer";
    Members members = CurveMembers("signer");
    members["x"] = getCoordinate(OSSL_PKEY_PARAM_EC_PUB_X);
    members["y"] = getCoordinate(OSSL_PKEY_PARAM_EC_PUB_Y);
    serve(MakeKeySet({members}));
    verifier.setClientInfo("", &store, ES256, false);
  }

  static string getCoordinate(const char* name) {
    bytes number = qx::test::GetNumber(qx::test::GetCurvePem("P-256").publicKey, name);
    number.insert(number.begin(), 32 - number.size(), '\0');
    string text;
    base64Encode(number.data(), number.size(), text, B64_UrlSafeBare);
    return Quote(text);
  }

  string makeToken() {
    qxVariantMapImpl made;
    made["exp"] = NowSec() + 600;
    string token;
    EXPECT_TRUE(CreateSignedJwt(made, signer, ES256, token, 0));
    return token;
  }

  EllipticCurveKey signer{qx::test::GetCurvePem("P-256").pkcs8};
  Verifier verifier;
  qxVariantMapImpl claims;
  Verifier::RejectCause cause = Verifier::RC_None;
};

TEST_F(KeyStoreVerifierTest, AVerifierFindsItsKeyInTheFetchedSet) {
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(verifier.validateJwt(makeToken(), claims, &cause));
  EXPECT_TRUE(claims.contains("exp"));
  EXPECT_EQ(server->getRequestCount(), 1U);
}

TEST_F(KeyStoreVerifierTest, AVerifierLogsWhyThereIsNoKey) {
  signer.keyId = "stranger";
  EXPECT_FALSE(verifier.validateJwt(makeToken(), claims, &cause));
  EXPECT_EQ(cause, Verifier::RC_InternalError);
  EXPECT_THAT(warnings(), ElementsAre(Warning("No such key {stranger}")));
}

TEST_F(KeyStoreTest, AKeyThatIsFoundAllocatesNothing) {
  const string kid = "rsa";
  EXPECT_TRUE(has(kid));
  string error;
  const size_t before = qx::test::CountAllocations();
  const shared_ptr<AsymmetricKey> key = store.getKeyFromId(kid, RS256, &error);
  EXPECT_EQ(qx::test::CountAllocations(), before);
  EXPECT_NE(key, nullptr);
}

TEST_F(KeyStoreTest, ACopyIsAnAliasOfTheSameKeys) {
  const Alias alias(store);
  EXPECT_TRUE(has(*alias.store, "rsa"));
  EXPECT_TRUE(has("rsa"));
  EXPECT_EQ(server->getRequestCount(), 1U);
  EXPECT_EQ(alias.store->getKeyFromId("rsa", RS256, nullptr), store.getKeyFromId("rsa", RS256, nullptr));
}

TEST_F(KeyStoreTest, AssignmentMakesAnAliasAndReleasesNothing) {
  KeyStore other = makeStore(url());
  EXPECT_TRUE(has(other, "rsa"));
  const Alias alias(other);
  *alias.store = store;
  EXPECT_TRUE(has(*alias.store, "rsa"));
  EXPECT_EQ(server->getRequestCount(), 2U);
  EXPECT_TRUE(has("rsa"));
  EXPECT_TRUE(has(other, "rsa"));
  EXPECT_EQ(server->getRequestCount(), 2U);
}

TEST_F(KeyStoreTest, EightThreadsShareAStoreBehindALockOfTheHosts) {
  qxMutex mutex;
  const bytes signature = qx::test::FromUrlSafe(qx::test::kRs256Signature);
  vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 25; ++round) {
        shared_ptr<AsymmetricKey> key;
        {
          const qxMutexLocker locker(mutex, true);
          key = store.getKeyFromId("rsa", RS256, nullptr);
          if (round == 12) {
            EXPECT_EQ(store.getKeyFromId("nobody", RS256, nullptr), nullptr);
          }
        }
        // The key itself needs no lock.
        ASSERT_NE(key, nullptr);
        EXPECT_TRUE(VerifyDigestAsymmetric(signature.data(), signature.size(), qx::test::kRs256Input.data(),
                                           qx::test::kRs256Input.size(), *key, HT_Sha256, nullptr));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(server->getRequestCount(), 9U);
}

TEST_F(KeyStoreTest, StoresOfEightThreadsShareAPool) {
  vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([this] {
      KeyStore own = makeStore(url());
      EXPECT_TRUE(has(own, "rsa"));
      EXPECT_EQ(explain(own, "nobody"), "No such key {nobody}");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(server->getRequestCount(), 16U);
}

TEST_F(KeyStoreTest, ASetOfTenThousandKeysIsReadAndReadAgain) {
  vector<Members> keys;
  for (int i = 0; i < 10000; ++i) {
    const string kid = std::to_string(i);
    keys.push_back(i % 100 == 0 ? OctMembers(kid) : RsaMembers(kid));
  }
  serve(MakeKeySet(keys));
  EXPECT_TRUE(has("1"));
  EXPECT_TRUE(has("9999"));
  EXPECT_EQ(explain("5000"), "Key {5000} is invalid : Rejected (key is symmetric)");
  EXPECT_EQ(server->getRequestCount(), 1U);
  const shared_ptr<AsymmetricKey> first = store.getKeyFromId("77", RS256, nullptr);
  EXPECT_EQ(explain("10000"), "No such key {10000}");
  EXPECT_EQ(server->getRequestCount(), 2U);
  EXPECT_EQ(store.getKeyFromId("77", RS256, nullptr), first);
}

TEST_F(KeyStoreTest, TheLookUpIsTheOnlyVirtualOperation) {
  EXPECT_EQ(qx::test::VirtualSlot(&KeyStore::getKeyFromId), 0);
  EXPECT_EQ(sizeof(KeyStore), 2 * sizeof(void*));
}

}  // namespace
}  // namespace qx::jwt::test
