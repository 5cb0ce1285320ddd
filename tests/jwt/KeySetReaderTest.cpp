#include "netweft/jwt/internal/KeySetReader.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxSystemUtils.h"
#include "tests/jwt/KeySetSamples.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

namespace qx::jwt {
namespace {

using qx::test::Warning;
using test::CurveMembers;
using test::MakeKeySet;
using test::Members;
using test::OctMembers;
using test::Quote;
using test::RsaMembers;
using test::ToJson;
using test::With;
using test::Without;
using testing::ElementsAre;
using testing::IsEmpty;

const auto kMissingKeys = Warning("Missing json field \"keys\" in JWK key set");
const auto kMalformedElement = Warning("Ignoring malformed json list element");
const auto kMissingKid = Warning("Missing kid in json list element");

class KeySetReaderTest : public testing::Test {
 protected:
  void read(const string& json) {
    qxVariantMapImpl keySet;
    ASSERT_TRUE(json::Json2Variant::Convert(json.data(), json.size(), keySet)) << json;
    ReadKeySet(keySet, records);
  }

  const KeyRecord* find(const string& kid) const { return records.findFresh(kid, qxSystemUtils::GetTimeBaseSec()); }
  bool hasKey(const string& kid) const { return find(kid) != nullptr && find(kid)->key != nullptr; }
  string getRejection(const string& kid) const { return find(kid) == nullptr ? "not there" : find(kid)->rejection; }

  qx::test::LogCapture log;
  KeyRecords records;
};

TEST_F(KeySetReaderTest, EveryElementWithAnIdentifierGetsARecord) {
  read(MakeKeySet({RsaMembers("rsa"), CurveMembers("curve"), OctMembers("oct")}));
  EXPECT_EQ(records.size(), 3U);
  EXPECT_TRUE(hasKey("rsa"));
  EXPECT_TRUE(hasKey("curve"));
  EXPECT_EQ(getRejection("oct"), "Rejected (key is symmetric)");
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(KeySetReaderTest, ARecordBearsTheTimeOfItsMaking) {
  const int64 before = qxSystemUtils::GetTimeBaseSec();
  read(MakeKeySet({RsaMembers("rsa"), OctMembers("oct")}));
  const int64 after = qxSystemUtils::GetTimeBaseSec();
  for (const char* kid : {"rsa", "oct"}) {
    ASSERT_NE(find(kid), nullptr);
    EXPECT_GE(find(kid)->fetchedAtSec, before);
    EXPECT_LE(find(kid)->fetchedAtSec, after);
  }
}

TEST_F(KeySetReaderTest, ASetWithoutKeysIsAWarning) {
  for (const char* json : {"{}", R"({"keys":null})", R"({"keys":{}})", R"({"keys":"[]"})", R"({"Keys":[]})"}) {
    log.clear();
    read(json);
    EXPECT_THAT(log.getLines(), ElementsAre(kMissingKeys)) << json;
  }
  EXPECT_EQ(records.size(), 0U);
}

TEST_F(KeySetReaderTest, AnEmptyListOfKeysIsFine) {
  read(R"({"keys":[]})");
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(KeySetReaderTest, AnElementThatIsNoObjectIsAWarningAndStopsNothing) {
  read(MakeKeySet({"null", "1", "\"text\"", "[{}]", "true", "1.5", ToJson(RsaMembers("rsa"))}));
  EXPECT_EQ(log.getLines(), vector(6, kMalformedElement));
  EXPECT_EQ(records.size(), 1U);
  EXPECT_TRUE(hasKey("rsa"));
}

TEST_F(KeySetReaderTest, AnElementWithoutIdentifierIsAWarningAndStopsNothing) {
  const Members key = RsaMembers("rsa");
  read(MakeKeySet({Without(key, "kid"), With(key, "kid", Quote("")), Members{}, key}));
  EXPECT_EQ(log.getLines(), vector(3, kMissingKid));
  EXPECT_EQ(records.size(), 1U);
  EXPECT_TRUE(hasKey("rsa"));
}

TEST_F(KeySetReaderTest, WarningsComeInTheOrderOfTheElements) {
  read(MakeKeySet({"{}", "0", ToJson(OctMembers("oct")), "{}"}));
  EXPECT_THAT(log.getLines(), ElementsAre(kMissingKid, kMalformedElement, kMissingKid));
}

TEST_F(KeySetReaderTest, AnIdentifierThatIsNoStringIsReadAsItsText) {
  read(MakeKeySet({With(RsaMembers("x"), "kid", "17")}));
  EXPECT_TRUE(hasKey("17"));
}

TEST_F(KeySetReaderTest, IdentifiersAreBytes) {
  read(MakeKeySet({With(RsaMembers("x"), "kid", "\"a\\u0000b\"")}));
  EXPECT_TRUE(hasKey(string("a\0b", 3)));
  EXPECT_FALSE(hasKey("a"));
}

TEST_F(KeySetReaderTest, OfTwoElementsWithOneIdentifierTheFirstCounts) {
  read(MakeKeySet({OctMembers("k"), RsaMembers("k"), CurveMembers("other"), OctMembers("other")}));
  EXPECT_EQ(records.size(), 2U);
  EXPECT_EQ(getRejection("k"), "Rejected (key is symmetric)");
  EXPECT_TRUE(hasKey("other"));
}

TEST_F(KeySetReaderTest, AKeyThatIsThereAlreadyStaysTheSameObject) {
  read(MakeKeySet({RsaMembers("k")}));
  const AsymmetricKey* const first = find("k")->key.get();
  read(MakeKeySet({CurveMembers("k")}));
  EXPECT_EQ(find("k")->key.get(), first);
}

TEST_F(KeySetReaderTest, AnIdentifierThatComesAgainMovesBehindTheOthers) {
  records.add("old", {nullptr, 0, -1000000, "old"});
  records.add("young", {nullptr, 0, qxSystemUtils::GetTimeBaseSec(), "young"});
  read(MakeKeySet({RsaMembers("old")}));
  records.clearExpired(qxSystemUtils::GetTimeBaseSec());
  EXPECT_EQ(records.size(), 2U);
  EXPECT_FALSE(hasKey("old"));
}

TEST_F(KeySetReaderTest, EveryRejectionIsKeptUnderItsIdentifierInOneSet) {
  const vector<pair<string, string>> members = {{"use", "no"}, {"alg", "no"}, {"kty", "no"}, {"n", "!"}, {"e", "AQ"}};
  vector<Members> keys;
  for (const auto& [name, value] : members) keys.push_back(With(RsaMembers(name), name, Quote(value)));
  read(MakeKeySet(keys));
  EXPECT_EQ(getRejection("use"), "Rejected (key is not meant for signature validation)");
  EXPECT_EQ(getRejection("alg"), "Rejected ( 'no' unsupported value for 'alg' field)");
  EXPECT_EQ(getRejection("kty"), "Rejected (invalid field \"kty\")");
  EXPECT_EQ(getRejection("n"), "Rejected (RSA n or e parameters are invalid)");
  EXPECT_EQ(getRejection("e"), "Rejected (RSA key error : RSA exponent is even or under 3)");
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(KeySetReaderTest, ThePublishedExampleSetHoldsNoKeyThatSaysItIsForSignatures) {
  read(test::kPublicKeySet);
  EXPECT_EQ(records.size(), 2U);
  EXPECT_EQ(getRejection("1"), "Rejected (key is not meant for signature validation)");
  EXPECT_EQ(getRejection("2011-04-29"), "Rejected (no field \"use\" or \"key_ops\")");
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(KeySetReaderTest, TheKeysOfThePublishedExampleSetAreGoodOnceTheySaySo) {
  string json = test::kPublicKeySet;
  json.replace(json.find("\"enc\""), 5, "\"sig\"");
  json.replace(json.find("\"alg\""), 5, "\"use\":\"sig\",\"alg\"");
  read(json);
  EXPECT_TRUE(hasKey("1"));
  EXPECT_TRUE(hasKey("2011-04-29"));
}

}  // namespace
}  // namespace qx::jwt
