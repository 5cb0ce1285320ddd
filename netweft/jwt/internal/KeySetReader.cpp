#include "netweft/jwt/internal/KeySetReader.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxSystemUtils.h"
#include "netweft/jwt/internal/JwkReader.h"

namespace qx::jwt {

namespace {

KeyRecord MakeRecord(const qxVariantMapImpl& jwk) {
  KeyRecord record = ReadJwk(jwk);
  record.fetchedAtSec = qxSystemUtils::GetTimeBaseSec();
  return record;
}

void ReadElement(const qxVariant& element, KeyRecords& records) {
  if (element.getType() != qxVariant::VT_Map) {
    LogWarning() << "Ignoring malformed json list element";
    return;
  }
  const qxVariantMapImpl& jwk = element.getMap();
  const string kid = jwk.getString("kid", "");
  if (kid.empty()) {
    LogWarning() << "Missing kid in json list element";
    return;
  }
  if (!records.moveToEnd(kid)) records.add(kid, MakeRecord(jwk));
}

}  // namespace

void ReadKeySet(const qxVariantMapImpl& keySet, KeyRecords& records) {
  const auto keys = keySet.find("keys");
  if (keys == keySet.end() || keys->second.getType() != qxVariant::VT_List) {
    LogWarning() << "Missing json field \"keys\" in JWK key set";
    return;
  }
  for (const qxVariant& element : keys->second.getList()) ReadElement(element, records);
}

}  // namespace qx::jwt
