#include "netweft/river/internal/IndexOpening.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/internal/FailPoint.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/internal/HttpStatus.h"
#include "netweft/river/internal/CreationDescriptor.h"
#include "netweft/river/internal/IndexDeletion.h"
#include "netweft/river/internal/IndexMeta.h"
#include "netweft/river/internal/JsonHash.h"
#include "netweft/river/internal/MappingComparison.h"
#include "netweft/river/internal/MappingCompression.h"

#include <algorithm>

namespace qx::couch {

namespace {

string ToText(const qxVariantMapImpl& map) {
  string text;
  json::Json2Variant::Convert(map, text, false);
  return text;
}

}  // namespace

IndexOpening::IndexOpening(http::HttpConnection& connection, const elasticsearch::ESConnectionParameters& es,
                           IndexEntry& entry, map<string, string>& descriptors, const bool* cancelFlag)
    : mConnection(connection),
      mEs(es),
      mEntry(entry),
      mDefinition(entry.definition),
      mName(entry.definition.indexName),
      mDescriptors(descriptors),
      mCancelFlag(cancelFlag) {}

bool IndexOpening::run(uint64& startSeq) {
  switch (inspect()) {
    case Verdict::Failed: return false;
    case Verdict::Keep: break;
    case Verdict::Recreate:
      startSeq = 0;
      if (!recreate()) return false;
  }
  return readSequence(startSeq);
}

IndexOpening::Verdict IndexOpening::inspect() {
  const JsonReply mapping = get("_mapping");
  if (!mapping.good && mapping.status != http::sHttpNotFound) {
    fail("Error while retrieving current index meta info ");
    return Verdict::Failed;
  }
  if (mapping.status == http::sHttpNotFound) return Verdict::Recreate;
  mMeta = findIndexMeta(mName, mapping.map);
  return inspectCreation();
}

IndexOpening::Verdict IndexOpening::inspectCreation() {
  const JsonReply settings = get("_settings");
  if (!settings.good && settings.status != http::sHttpNotFound) {
    fail("Error while retrieving current index settings ");
    return Verdict::Failed;
  }
  const string current = buildCreationDescriptor(mName, settings.map);
  const string stored = mMeta.getString("creationdescriptor", "");
  mDescriptors[mName] = current;
  mEntry.creationDescriptor = stored;
  if (!current.empty() && current == stored) return inspectStamps();
  LogWarning() << "creationdescriptor missmatch for index '" << mName << "' got '" << CutForLog(current) << "' / '"
               << CutForLog(stored) << "'";
  return Verdict::Recreate;
}

IndexOpening::Verdict IndexOpening::inspectStamps() {
  if (mMeta.getString("applicationversion", "") == mDefinition.applicationVersion &&
      mMeta.getString("sourcedbname", "") == getDbName() &&
      mMeta.getString("settingshash", "") == hashJson(mDefinition.settings)) {
    return inspectMapping();
  }
  LogDetail("esriver") << getDbName() << " => index should be recreated, settings or version were updated " << mName;
  return Verdict::Recreate;
}

IndexOpening::Verdict IndexOpening::inspectMapping() {
  if (mMeta.getString("mappinghash", "") == hashJson(mDefinition.mapping)) return Verdict::Keep;
  qxVariantMapImpl delta;
  string reason;
  if (!compareMappings(decompressMapping(mMeta), mDefinition.mapping, delta, reason, true, true, "/")) {
    LogDetail("esriver") << getDbName() << " => index '" << mName << "' should be recreated, reason : " << reason;
    return Verdict::Recreate;
  }
  // With nothing to send the stored fingerprint stays old, and the mappings are compared again at the next opening.
  return delta.empty() ? Verdict::Keep : widen(std::move(delta));
}

IndexOpening::Verdict IndexOpening::widen(qxVariantMapImpl delta) {
  qxVariantMapImpl meta = mMeta;
  renewIndexMeta(mDefinition, meta);
  delta["_meta"] = std::move(meta);
  LogDetail("esriver") << getDbName() << " => update idx '" << mName << "' with mapping " << ToText(delta);
  const bool good = putMapping(delta).good;
  impl::PassFailPoint("index-widened");
  if (good) return Verdict::Keep;
  if (ReadFlag(mCancelFlag)) return Verdict::Failed;
  LogWarning() << "Fail to update mapping ! " << mConnection.getLastErrorMsg();
  return Verdict::Recreate;
}

bool IndexOpening::recreate() {
  impl::PassFailPoint("index-outdated");
  if (!DeleteIndex(mName, mConnection, mEs, sIndexDeletionTimeoutMs, mCancelFlag)) {
    return fail("Fail to drop previous index ");
  }
  impl::PassFailPoint("index-deleted");
  const qxVariantMapImpl body = buildCreationBody(mDefinition);
  if (!create(body)) return false;
  impl::PassFailPoint("index-created");
  const JsonReply settings = get("_settings");
  if (!settings.good) return fail("Fail to retrieve index settings ");
  mEntry.creationDescriptor = buildCreationDescriptor(mName, settings.map);
  mDescriptors[mName] = mEntry.creationDescriptor;
  impl::PassFailPoint("settings-read");
  if (!storeCreationDescriptor(body.findValuePath("mappings/_doc/_meta", '/')->toMap())) return false;
  impl::PassFailPoint("descriptor-stored");
  return true;
}

bool IndexOpening::create(const qxVariantMapImpl& body) {
  LogDetail("esriver") << getDbName() << " => create idx " << mName << " with mapping " << ToText(body);
  const JsonReply reply = PutJson(mConnection, mEs.toUrl(mName, {}), body, mCancelFlag);
  if (reply.good) return true;
  if (!ReadFlag(mCancelFlag)) {
    LogError() << "Fail to create index " << mConnection.getLastErrorMsg()
               << ", es response : " << CutForLog(reply.text);
  }
  return false;
}

bool IndexOpening::storeCreationDescriptor(const qxVariantMapImpl& meta) {
  qxVariantMapImpl mapping;
  qxVariantMapImpl& stored = mapping["_meta"].editMap();
  stored = meta;
  stored["creationdescriptor"] = mEntry.creationDescriptor;
  return putMapping(mapping).good || fail("Fail to store creation descriptor ");
}

bool IndexOpening::readSequence(uint64& startSeq) {
  const JsonReply mapping = get("_mapping");
  if (!mapping.good) return fail("Fail to retrieve mapping ");
  mEntry.lastRefreshSeq = readLastRefreshSeq(findIndexMeta(mName, mapping.map));
  startSeq = std::min(startSeq, mEntry.lastRefreshSeq);
  return true;
}

JsonReply IndexOpening::get(const string& operation) {
  return GetJson(mConnection, mEs.toUrl(mName, operation, {}), mCancelFlag);
}

JsonReply IndexOpening::putMapping(const qxVariantMapImpl& mapping) {
  return PutJson(mConnection, mEs.toUrl(mName, "_doc", "_mapping", {}), mapping, mCancelFlag);
}

bool IndexOpening::fail(const char* what) const {
  if (!ReadFlag(mCancelFlag)) LogError() << what << mConnection.getLastErrorMsg();
  return false;
}

}  // namespace qx::couch
