#include "netweft/elasticsearch/internal/SearchBody.h"

#include "netweft/base/json/Json2Variant.h"

namespace qx::elasticsearch {

namespace {

map<string, qxVariantMapImpl> GroupByType(const map<string, string>& idToType) {
  map<string, qxVariantMapImpl> groups;
  for (const auto& [id, type] : idToType) {
    const auto [group, isNew] = groups.try_emplace(type);
    if (isNew && !type.empty()) group->second.editValuePath("bool/filter/term/type", type, '/');
    group->second.editValuePath("bool/must/terms/id", qxVariantListImpl(), '/').editList().push_back(id);
  }
  return groups;
}

}  // namespace

bytes BuildSearchBody(const map<string, string>& idToType, const qxVariant& sourceFields) {
  qxVariantMapImpl body;
  if (sourceFields.getType() != qxVariant::VT_Absent) body["_source"] = sourceFields;
  body["size"] = idToType.size();
  qxVariantListImpl& should = body.editValuePath("query/bool/should", qxVariantListImpl(), '/').editList();
  for (auto& [type, group] : GroupByType(idToType)) should.push_back(qxVariant(std::move(group)));
  bytes text;
  json::Json2Variant::Convert(body, text, false);
  return text;
}

}  // namespace qx::elasticsearch
