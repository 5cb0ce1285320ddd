#include "netweft/river/internal/IndexMeta.h"

#include "fuzz/Input.h"
#include "fuzz/JsonMap.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/river/internal/CreationDescriptor.h"
#include "netweft/river/internal/MappingCompression.h"

/// What an index was created with is found again in what it says of itself, and of any other answer no sequence below
/// 0 and no half of a descriptor is taken. The input: a line that names an index, and an answer or a mapping.
namespace qx::fuzz {
namespace {

using namespace couch;

void CheckAnswer(const string& indexName, const qxVariantMapImpl& answer) {
  const qxVariantMapImpl meta = findIndexMeta(indexName, answer);
  Require(readLastRefreshSeq(meta) <= 0x7FFFFFFFFFFFFFFF, "a sequence is not below 0");
  static_cast<void>(decompressMapping(meta));
  const string descriptor = buildCreationDescriptor(indexName, answer);
  Require(descriptor.empty() || (descriptor.size() >= 3 && descriptor.find('_') != string::npos),
          "a descriptor has two halves");
}

void CheckCreation(const qxVariantMapImpl& mapping) {
  IndexDefinition definition;
  definition.mapping = mapping;
  definition.dbName = "db";
  const qxVariantMapImpl body = buildCreationBody(definition);
  qxVariantMapImpl answer;
  answer["index"].editMap()["mappings"] = body.getValue("mappings", {});
  const qxVariantMapImpl meta = findIndexMeta("index", answer);
  Require(decompressMapping(meta) == mapping, "the mapping is found again");
  Require(meta.getString("sourcedbname", "") == "db" && readLastRefreshSeq(meta) == 0, "so is the rest");
}

void Check(std::string_view data) {
  Input input(data);
  const string indexName(input.takeLine());
  qxVariantMapImpl map;
  if (!ReadJson(input.takeRest(), map)) return;
  CheckAnswer(indexName, map);
  CheckCreation(map);
}

const Target sTarget("index_meta", Check);

}  // namespace
}  // namespace qx::fuzz
