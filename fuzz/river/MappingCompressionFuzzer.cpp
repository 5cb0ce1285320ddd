#include "fuzz/Input.h"
#include "fuzz/JsonMap.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/base/crypto/Base64.h"
#include "netweft/river/internal/MappingCompression.h"

/// A mapping that was compressed is read back as an equal one, but only under its true size: any other claim, and above
/// all one that the bytes cannot hold, gives nothing. The first byte chooses what the rest is: a mapping and, in four
/// bytes, the size to claim for it; compressed bytes behind their size; or the text that an index holds.
namespace qx::fuzz {
namespace {

constexpr size_t sSizeField = 4;
/// No text compresses better.
constexpr uint64 sBestRatio = 1032;

string GetText(const qxVariantMapImpl& meta) { return meta.getString("mappingzip", ""); }

/// In memory, none of which a claim may take beyond the best ratio: the fuzzer's limits see to that.
qxVariantMapImpl Read(const string& text) {
  qxVariantMapImpl meta;
  meta["mappingzip"] = text;
  return couch::decompressMapping(meta);
}

qxVariantMapImpl ReadPacked(const bytes& packed) {
  string text;
  base64Encode(packed.data(), packed.size(), text, B64_Standard);
  return Read(text);
}

bytes Pack(const qxVariantMapImpl& mapping) {
  qxVariantMapImpl meta;
  couch::compressMapping(mapping, meta);
  bytes packed;
  Require(base64Decode(GetText(meta), packed, B64_Standard), "what is kept is base64");
  Require(packed.size() > sSizeField, "a mapping is compressed");
  return packed;
}

uint32 GetClaim(const bytes& packed) {
  uint32 claim = 0;
  for (size_t i = sSizeField; i > 0; --i) claim = claim << 8 | static_cast<unsigned char>(packed[i - 1]);
  return claim;
}

void SetClaim(bytes& packed, uint32 claim) {
  for (size_t i = 0; i < sSizeField; ++i) packed[i] = static_cast<char>(claim >> (8 * i) & 0xFF);
}

void CheckMapping(const qxVariantMapImpl& mapping, uint32 claim) {
  bytes packed = Pack(mapping);
  const uint32 size = GetClaim(packed);
  Require(size == WriteJson(mapping).size(), "a mapping is kept with its size");
  Require(ReadPacked(packed) == mapping, "what was compressed is read back");
  if (claim == size) return;
  SetClaim(packed, claim);
  Require(ReadPacked(packed).empty(), "under a wrong size nothing is read");
}

void CheckRead(const qxVariantMapImpl& mapping) {
  if (!mapping.empty()) CheckMapping(mapping, 0);
}

void CheckPacked(const bytes& packed) {
  const qxVariantMapImpl mapping = ReadPacked(packed);
  if (packed.size() < sSizeField || GetClaim(packed) > sBestRatio * (packed.size() - sSizeField)) {
    Require(mapping.empty(), "a claim that the bytes cannot hold is refused");
  }
  CheckRead(mapping);
}

void Check(std::string_view data) {
  Input input(data);
  switch (input.takeByte()) {
    case 'm': {
      const uint32 claim = input.takeNumber(sSizeField);
      qxVariantMapImpl mapping;
      if (ReadJson(input.takeRest(), mapping)) CheckMapping(mapping, claim);
      return;
    }
    case 'z': {
      const std::string_view rest = input.takeRest();
      return CheckPacked({rest.begin(), rest.end()});
    }
    default: return CheckRead(Read(string(input.takeRest())));
  }
}

const Target sTarget("mapping_zip", Check);

}  // namespace
}  // namespace qx::fuzz
