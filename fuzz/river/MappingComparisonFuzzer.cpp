#include "netweft/river/internal/MappingComparison.h"

#include "fuzz/Input.h"
#include "fuzz/JsonMap.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/river/internal/JsonHash.h"

#include <iterator>

/// What is sent to widen an index makes the stored mapping the wanted one; a mapping needs nothing to become itself,
/// whatever the order of its members was; and an attribute that was removed, added or changed is seen. The input is a
/// byte that chooses the attribute, and two lines: the stored mapping and the wanted one.
namespace qx::fuzz {
namespace {

struct Verdict {
  bool isGood = false;
  qxVariantMapImpl delta;
  string reason;
};

Verdict Compare(const qxVariantMapImpl& stored, const qxVariantMapImpl& wanted) {
  Verdict verdict;
  verdict.isGood = couch::compareMappings(stored, wanted, verdict.delta, verdict.reason, true, true, "/");
  Require(verdict.isGood == verdict.reason.empty(), "a refusal has a reason");
  return verdict;
}

/// Properties and each of them are objects, all the way down.
bool IsMapping(const qxVariantMapImpl& map) {
  const auto properties = map.find("properties");
  if (properties == map.end()) return true;
  if (properties->second.getType() != qxVariant::VT_Map) return false;
  for (const auto& [key, value] : properties->second.getMap()) {
    if (value.getType() != qxVariant::VT_Map || !IsMapping(value.getMap())) return false;
  }
  return true;
}

/// As Elasticsearch takes a mapping in: what is new is added to the properties, branch by branch.
void Widen(qxVariantMapImpl& mapping, const qxVariantMapImpl& delta) {
  for (const auto& [key, value] : delta) {
    qxVariant& place = mapping[key];
    if (place.getType() == qxVariant::VT_Map && value.getType() == qxVariant::VT_Map) {
      Widen(place.editMap(), value.getMap());
    } else {
      place = value;
    }
  }
}

/// Without what no comparison looks at, at whatever depth there are mappings.
void DropMeta(qxVariantMapImpl& mapping) {
  mapping.remove("_meta");
  const auto properties = mapping.find("properties");
  if (properties == mapping.end() || properties->second.getType() != qxVariant::VT_Map) return;
  for (auto& [key, value] : properties->second.editMap()) {
    if (value.getType() == qxVariant::VT_Map) DropMeta(value.editMap());
  }
}

void CheckPair(qxVariantMapImpl stored, qxVariantMapImpl wanted) {
  const Verdict verdict = Compare(stored, wanted);
  if (!verdict.isGood) return;
  Widen(stored, verdict.delta);
  DropMeta(stored);
  DropMeta(wanted);
  Require(stored == wanted, "the stored mapping becomes the wanted one");
}

void CheckSelf(const qxVariantMapImpl& mapping, std::string_view text) {
  const Verdict verdict = Compare(mapping, mapping);
  Require(verdict.isGood == IsMapping(mapping), "a mapping, and nothing else, is taken for itself");
  Require(!verdict.isGood || verdict.delta.empty(), "a mapping needs nothing to become itself");

  // Two texts with a member more in front and at the end, which are the same map.
  const string members(text.substr(text.find('{') + 1, text.rfind('}') - text.find('{') - 1));
  const string comma = mapping.empty() ? "" : ",";
  qxVariantMapImpl front;
  qxVariantMapImpl end;
  if (mapping.contains("~")) return;
  Require(ReadJson(R"({"~":1)" + comma + members + "}", front), "a member may stand in front");
  Require(ReadJson("{" + members + comma + R"("~":1})", end), "a member may stand at the end");
  Require(Compare(front, end).isGood == verdict.isGood, "the order of the members does not matter");
  Require(couch::hashJson(front) == couch::hashJson(end), "nor does it for the fingerprint");
}

void CheckAttributes(const qxVariantMapImpl& mapping, unsigned char choice) {
  if (mapping.empty()) return;
  qxVariantMapImpl changed = mapping;
  const auto chosen = std::next(changed.begin(), choice % static_cast<int>(changed.size()));
  const string name = chosen->first;
  if (name == "_meta" || name == "properties") return;
  chosen->second = chosen->second == qxVariant("one") ? "another" : "one";
  Require(!Compare(mapping, changed).isGood, "a changed attribute is seen");
  changed.remove(name);
  Require(!Compare(mapping, changed).isGood, "a removed attribute is seen");
  Require(!Compare(changed, mapping).isGood, "an added attribute is seen");
  Require(couch::hashJson(changed) != couch::hashJson(mapping), "the fingerprint is another");
}

void Check(std::string_view bytes) {
  Input input(bytes);
  const unsigned char choice = input.takeByte();
  const std::string_view text = input.takeLine();
  qxVariantMapImpl stored;
  qxVariantMapImpl wanted;
  if (!ReadJson(text, stored)) return;
  CheckSelf(stored, text);
  CheckAttributes(stored, choice);
  if (!ReadJson(input.takeLine(), wanted)) return;
  CheckPair(stored, wanted);
}

const Target sTarget("mapping_comparison", Check);

}  // namespace
}  // namespace qx::fuzz
