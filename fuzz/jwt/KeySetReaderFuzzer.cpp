#include "netweft/jwt/internal/KeySetReader.h"

#include "fuzz/JsonMap.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/base/system/qxSystemUtils.h"
#include "netweft/jwt/Alg.h"

/// Of each key that a set names there is a sound public key with its family's algorithms, or a reason why there is
/// none; and a set that is read once more changes nothing.
namespace qx::fuzz {
namespace {

using namespace jwt;

void CheckRecord(const KeyRecord& record) {
  Require((record.key == nullptr) != record.rejection.empty(), "there is a key, or a reason why there is none");
  if (record.key == nullptr) return;
  Require(!record.key->hasError() && !record.key->canSign(), "a key is sound and public");
  const int family = record.key->getKind() == AsymmetricKey::AK_Rsa ? sRsaAlgs : sEllipticCurveAlgs;
  Require(record.allowedAlgs == family, "a key is good for the algorithms of its family");
}

/// The names of the keys, of which the first of a name counts.
set<string> ListNames(const qxVariantMapImpl& keySet) {
  set<string> names;
  const qxVariant keys = keySet.getValue("keys", {});
  for (const qxVariant& key : keys.getList()) {
    const string name = key.getMap().getString("kid", "");
    if (key.getType() == qxVariant::VT_Map && !name.empty()) names.insert(name);
  }
  return names;
}

void Check(std::string_view text) {
  qxVariantMapImpl keySet;
  if (!ReadJson(text, keySet)) return;
  KeyRecords records;
  ReadKeySet(keySet, records);
  const set<string> names = ListNames(keySet);
  Require(records.size() == names.size(), "each name has a record");
  map<string, const KeyRecord*> found;
  for (const string& name : names) {
    found[name] = records.findFresh(name, qxSystemUtils::GetTimeBaseSec());
    Require(found[name] != nullptr, "a record is found by its name");
    CheckRecord(*found[name]);
  }
  ReadKeySet(keySet, records);
  Require(records.size() == names.size(), "what is there is not added again");
  for (const auto& [name, record] : found) {
    Require(records.findFresh(name, qxSystemUtils::GetTimeBaseSec()) == record, "what is there stays");
  }
}

const Target sTarget("key_set", Check);

}  // namespace
}  // namespace qx::fuzz
