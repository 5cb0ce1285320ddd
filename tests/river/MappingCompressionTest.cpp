#include "netweft/river/internal/MappingCompression.h"

#include "netweft/base/crypto/Base64.h"
#include "tests/river/JsonText.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>

namespace qx::couch {
namespace {

using test::FromJson;
using test::ToJson;

constexpr const char* sMapping = R"({"dynamic":false,"properties":{"n":{"type":"long"},"title":{"type":"text"}}})";

/// Golden: the size 76 as four bytes, then zlib's format at its best level.
constexpr const char* sPacked =
    "TAAAAHjaq1ZKqcxLzM1MVrJKS8wpTtVRKijKL0gtKslMLVayqlbKAxEllQWpSlZKOfl56Uq1OkolmSU5qUjiJakVJUq1tbUAAFUaew==";

string Compress(const qxVariantMapImpl& mapping) {
  qxVariantMapImpl meta;
  compressMapping(mapping, meta);
  return meta["mappingzip"].getString();
}

string Decompress(const string& packed) {
  qxVariantMapImpl meta;
  meta["mappingzip"] = packed;
  return ToJson(decompressMapping(meta));
}

/// What compressMapping writes, with any size field and any bytes behind it.
string Pack(uint32 size, const string& compressed) {
  string packed;
  for (int i = 0; i < 4; ++i) packed += static_cast<char>(size >> (8 * i) & 0xff);
  packed += compressed;
  string encoded;
  base64Encode(packed.data(), packed.size(), encoded, B64_Standard);
  return encoded;
}

string Deflated(const string& text) {
  uLongf size = compressBound(text.size());
  string out(size, '\0');
  compress2(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(text.data()), text.size(), 9);
  out.resize(size);
  return out;
}

TEST(MappingCompression, WritesTheBytesThatIndexesHold) { EXPECT_EQ(Compress(FromJson(sMapping)), sPacked); }

TEST(MappingCompression, ReadsTheBytesThatIndexesHold) { EXPECT_EQ(Decompress(sPacked), sMapping); }

TEST(MappingCompression, TheEmptyMappingHasBytesToo) { EXPECT_EQ(Compress({}), "AgAAAHjaq64FAAF1APk="); }

TEST(MappingCompression, KeepsTheRestOfTheMeta) {
  qxVariantMapImpl meta = FromJson(R"({"a":1,"mappingzip":"old"})");
  compressMapping(FromJson(sMapping), meta);
  EXPECT_EQ(meta.size(), 2U);
  EXPECT_EQ(meta["a"].toInteger(), 1);
  EXPECT_EQ(meta["mappingzip"].getString(), sPacked);
}

TEST(MappingCompression, ComesBackAsItWas) {
  std::mt19937 random(11);
  qxVariantMapImpl mapping;
  for (int i = 0; i < 3000; ++i) {
    string value;
    for (int j = 0; j < 40; ++j) value += static_cast<char>('a' + random() % 26);
    mapping["field " + std::to_string(random())] = value;
    if (i % 500 == 0) {
      ASSERT_EQ(Decompress(Compress(mapping)), ToJson(mapping)) << i;
    }
  }
}

TEST(MappingCompression, NothingStoredGivesAnEmptyMapping) {
  EXPECT_EQ(ToJson(decompressMapping({})), "{}");
  EXPECT_EQ(Decompress(""), "{}");
}

TEST(MappingCompression, WhatIsNoBase64GivesAnEmptyMapping) {
  EXPECT_EQ(Decompress("not base64!"), "{}");
  EXPECT_EQ(Decompress(string(sPacked) + "A"), "{}");
}

TEST(MappingCompression, FewerThanFourBytesGiveAnEmptyMapping) { EXPECT_EQ(Decompress("AAAA"), "{}"); }

TEST(MappingCompression, ASizeFieldAloneGivesAnEmptyMapping) { EXPECT_EQ(Decompress(Pack(0, "")), "{}"); }

TEST(MappingCompression, BytesThatDoNotInflateGiveAnEmptyMapping) { EXPECT_EQ(Decompress(Pack(3, "garbage")), "{}"); }

TEST(MappingCompression, ATruncatedTextGivesAnEmptyMapping) {
  const string deflated = Deflated(sMapping);
  EXPECT_EQ(Decompress(Pack(76, deflated)), sMapping);
  EXPECT_EQ(Decompress(Pack(76, deflated.substr(0, deflated.size() - 1))), "{}");
}

TEST(MappingCompression, ASizeThatIsTooSmallGivesAnEmptyMapping) {
  EXPECT_EQ(Decompress(Pack(75, Deflated(sMapping))), "{}");
}

TEST(MappingCompression, ASizeThatIsTooLargeGivesAnEmptyMapping) {
  EXPECT_EQ(Decompress(Pack(77, Deflated(sMapping))), "{}");
}

TEST(MappingCompression, WhatIsNoJsonObjectGivesAnEmptyMapping) {
  EXPECT_EQ(Decompress(Pack(5, Deflated("[1,2]"))), "{}");
  EXPECT_EQ(Decompress(Pack(5, Deflated("{\"a\":"))), "{}");
}

TEST(MappingCompression, AClaimOfUpTo1032TimesTheBytesIsTried) {
  const string text = "{\"a\":\"" + string(1000000, 'x') + "\"}";
  const string deflated = Deflated(text);
  ASSERT_GT(text.size(), 900 * deflated.size());
  EXPECT_EQ(Decompress(Pack(static_cast<uint32>(text.size()), deflated)), text);
}

TEST(MappingCompression, AClaimOfMoreIsUnreadable) {
  // 4 GiB of memory would be asked for here.
  EXPECT_EQ(Decompress(Pack(0xffffffffU, Deflated(sMapping))), "{}");
}

TEST(MappingCompression, AStoredValueThatIsNoTextGivesAnEmptyMapping) {
  EXPECT_EQ(ToJson(decompressMapping(FromJson(R"({"mappingzip":{"a":1}})"))), "{}");
}

}  // namespace
}  // namespace qx::couch
