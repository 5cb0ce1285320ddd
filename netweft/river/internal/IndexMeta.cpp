#include "netweft/river/internal/IndexMeta.h"

#include "netweft/river/internal/JsonHash.h"
#include "netweft/river/internal/MappingCompression.h"

#include <algorithm>

namespace qx::couch {

qxVariantMapImpl findIndexMeta(const string& indexName, const qxVariantMapImpl& mappingReply) {
  const qxVariant* meta = mappingReply.findValuePath(indexName + "/mappings/_doc/_meta", '/');
  return meta == nullptr ? qxVariantMapImpl() : meta->toMap();
}

uint64 readLastRefreshSeq(const qxVariantMapImpl& meta) {
  return static_cast<uint64>(std::max<int64>(0, meta.getInteger("lastrefreshseq", 0)));
}

void renewIndexMeta(const IndexDefinition& definition, qxVariantMapImpl& meta) {
  meta["mappinghash"] = hashJson(definition.mapping);
  meta["mappingrevision"] = definition.mappingRevision;
  compressMapping(definition.mapping, meta);
  meta["lastrefreshseq"] = 0;
  meta["lastrefreshdate"] = "";
}

qxVariantMapImpl buildCreationBody(const IndexDefinition& definition) {
  qxVariantMapImpl body;
  body["settings"] = definition.settings;
  qxVariantMapImpl& doc = body.editValuePath("mappings/_doc", definition.mapping, '/').editMap();
  qxVariantMapImpl& meta = doc["_meta"].editMap();
  renewIndexMeta(definition, meta);
  meta["sourcedbname"] = definition.dbName;
  meta["settingshash"] = hashJson(definition.settings);
  meta["applicationversion"] = definition.applicationVersion;
  meta["creationdescriptor"] = "";
  return body;
}

}  // namespace qx::couch
