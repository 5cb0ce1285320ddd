#include "netweft/base/system/internal/Clock.h"
#include "netweft/base/system/qxSystemUtils.h"
#include "netweft/jwt/KeyStore.h"
#include "tests/jwt/KeyStoreFixture.h"

namespace qx::jwt::test {
namespace {

constexpr int64 kLifetime = 43200;

int64 Now() { return qxSystemUtils::GetTimeBaseSec(); }

void Advance(int64 sec) { qx::impl::AdvanceClock(sec * 1000); }

/// To the first moment of that second.
void AdvanceTo(int64 sec) { qx::impl::AdvanceClock(std::max(0LL, sec * 1000 - qxSystemUtils::GetTimeBaseMs())); }

class KeyStoreAgeTest : public KeyStoreFixture {
 protected:
  string getRejection(const string& kid) {
    const string text = explain(kid);
    const string head = "Key {" + kid + "} is invalid : ";
    EXPECT_EQ(text.substr(0, head.size()), head) << text;
    return text.substr(std::min(head.size(), text.size()));
  }

  AsymmetricKey::Kind getKind(const string& kid, Alg alg) {
    const shared_ptr<AsymmetricKey> key = store.getKeyFromId(kid, alg, nullptr);
    EXPECT_NE(key, nullptr);
    return key == nullptr ? AsymmetricKey::Kind{} : key->getKind();
  }

  uint64 requests() const { return server->getRequestCount(); }
};

TEST_F(KeyStoreAgeTest, AKeyIsFoundAtTheLastSecondOfItsLifetimeAndFetchedAnewAtTheNext) {
  // The clock runs on: an attempt during which a second passes unforeseen proves nothing.
  for (int attempt = 0; attempt < 50; ++attempt) {
    KeyStore fresh = makeStore(url());
    AdvanceTo(Now() + 1);
    const int64 fetched = Now();
    ASSERT_TRUE(has(fresh, "rsa"));
    if (Now() != fetched) continue;
    const uint64 before = requests();
    AdvanceTo(fetched + kLifetime);
    const bool found = has(fresh, "rsa");
    if (Now() != fetched + kLifetime) continue;
    EXPECT_TRUE(found);
    EXPECT_EQ(requests(), before);
    AdvanceTo(fetched + kLifetime + 1);
    EXPECT_TRUE(has(fresh, "rsa"));
    EXPECT_EQ(requests(), before + 1);
    return;
  }
  FAIL() << "this machine is too slow for any attempt";
}

TEST_F(KeyStoreAgeTest, ClearingDropsWhatIsOverItsTime) {
  const std::weak_ptr<AsymmetricKey> watched = store.getKeyFromId("rsa", RS256, nullptr);
  EXPECT_FALSE(watched.expired());
  Advance(kLifetime - 60);
  store.clearExpired();
  EXPECT_FALSE(watched.expired());
  Advance(61);
  store.clearExpired();
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(requests(), 1U);
}

TEST_F(KeyStoreAgeTest, AKeyThatTheSetNoLongerHoldsLivesOnUntilItsTimeIsOver) {
  EXPECT_TRUE(has("rsa"));
  serve(MakeKeySet({CurveMembers("curve")}));
  Advance(kLifetime - 60);
  EXPECT_EQ(explain("nobody"), "No such key {nobody}");
  EXPECT_TRUE(has("rsa"));
  Advance(61);
  EXPECT_EQ(explain("rsa"), "No such key {rsa}");
}

TEST_F(KeyStoreAgeTest, AKeyExchangedUnderItsIdentifierKeepsItsOldValueUntilItsTimeIsOver) {
  serve(MakeKeySet({RsaMembers("k")}));
  EXPECT_EQ(getKind("k", RS256), AsymmetricKey::AK_Rsa);
  serve(MakeKeySet({CurveMembers("k")}));
  Advance(kLifetime - 60);
  EXPECT_EQ(explain("nobody"), "No such key {nobody}");
  EXPECT_EQ(getKind("k", RS256), AsymmetricKey::AK_Rsa);
  EXPECT_EQ(explain("k", ES256), "Key {k} ( is not meant for the algorithm ES256");
  Advance(61);
  EXPECT_EQ(getKind("k", ES256), AsymmetricKey::AK_EllipticCurve);
}

TEST_F(KeyStoreAgeTest, ARefetchDoesNotRenewAKey) {
  EXPECT_TRUE(has("rsa"));
  Advance(kLifetime - 60);
  EXPECT_EQ(explain("nobody"), "No such key {nobody}");
  EXPECT_EQ(requests(), 2U);
  Advance(61);
  EXPECT_TRUE(has("rsa"));
  EXPECT_EQ(requests(), 3U);
}

TEST_F(KeyStoreAgeTest, ARejectedIdentifierStaysRejectedThoughTheSetIsRepaired) {
  serve(MakeKeySet({OctMembers("k")}));
  EXPECT_EQ(getRejection("k"), "Rejected (key is symmetric)");
  serve(MakeKeySet({RsaMembers("k"), CurveMembers("other")}));
  Advance(kLifetime - 60);
  EXPECT_TRUE(has("other", ES256));
  EXPECT_EQ(getRejection("k"), "Rejected (key is symmetric)");
  Advance(61);
  EXPECT_TRUE(has("k"));
}

TEST_F(KeyStoreAgeTest, ARejectionCostsNoFetchWithinItsLifetime) {
  EXPECT_EQ(getRejection("oct"), "Rejected (key is symmetric)");
  Advance(kLifetime - 60);
  EXPECT_EQ(getRejection("oct"), "Rejected (key is symmetric)");
  EXPECT_EQ(requests(), 1U);
}

TEST_F(KeyStoreAgeTest, AKeyMovedBehindAYoungerOneIsMissedUntilTheYoungerOneHasLeft) {
  serve(MakeKeySet({RsaMembers("old")}));
  EXPECT_TRUE(has("old"));
  Advance(10000);
  serve(MakeKeySet({CurveMembers("young")}));
  EXPECT_TRUE(has("young", ES256));
  serve(MakeKeySet({RsaMembers("old")}));
  EXPECT_EQ(explain("nobody"), "No such key {nobody}");

  Advance(kLifetime - 10000 + 1);
  for (uint64 i = 1; i <= 2; ++i) {
    EXPECT_EQ(explain("old"), "No such key {old}");
    EXPECT_EQ(requests(), 3 + i);
  }
  EXPECT_TRUE(has("young", ES256));

  Advance(10000);
  EXPECT_TRUE(has("old"));
  EXPECT_EQ(requests(), 6U);
}

}  // namespace
}  // namespace qx::jwt::test
