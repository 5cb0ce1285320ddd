#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxSystemUtils.h"
#include "netweft/jwt/internal/KeySetReader.h"
#include "tests/jwt/KeySetSamples.h"
#include "tests/support/AllocationHooks.h"

#include <gtest/gtest.h>

#include <new>

namespace qx::jwt {
namespace {

using test::CurveMembers;
using test::MakeKeySet;
using test::RsaMembers;

qxVariantMapImpl Parse(const string& json) {
  qxVariantMapImpl map;
  EXPECT_TRUE(json::Json2Variant::Convert(json.data(), json.size(), map));
  return map;
}

bool HasKey(const KeyRecords& records, const string& kid) {
  const KeyRecord* record = records.findFresh(kid, qxSystemUtils::GetTimeBaseSec());
  return record != nullptr && record->key != nullptr && !record->key->hasError();
}

TEST(KeySetReaderMemoryTest, WithoutMemoryTheCallerIsToldAndNoKeyIsRejectedForIt) {
  const qxVariantMapImpl keySet = Parse(MakeKeySet({RsaMembers("an RSA key"), CurveMembers("a key on a curve")}));
  size_t failures = 0;
  for (bool failed = true; failed; failures += failed ? 1U : 0U) {
    KeyRecords records;
    failed = false;
    try {
      const qx::test::AllocationLimit limit(failures);
      ReadKeySet(keySet, records);
    } catch (const std::bad_alloc&) {
      failed = true;
    }
    ReadKeySet(keySet, records);
    EXPECT_EQ(records.size(), 2U);
    EXPECT_TRUE(HasKey(records, "an RSA key")) << failures;
    EXPECT_TRUE(HasKey(records, "a key on a curve")) << failures;
  }
  EXPECT_GT(failures, 10U);
}

TEST(KeySetReaderMemoryTest, AKeyThatIsThereAlreadyIsNotParsedAgain) {
  const qxVariantMapImpl keySet = Parse(MakeKeySet({RsaMembers("rsa"), CurveMembers("curve")}));
  KeyRecords records;
  ReadKeySet(keySet, records);
  const size_t before = qx::test::CountAllocations();
  ReadKeySet(keySet, records);
  EXPECT_EQ(qx::test::CountAllocations(), before);
}

}  // namespace
}  // namespace qx::jwt
