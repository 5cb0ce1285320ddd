#include "netweft/river/internal/MappingCompression.h"

#include "netweft/base/crypto/Base64.h"
#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxLogObject.h"

#include <zlib.h>

#include <limits>
#include <string_view>

namespace qx::couch {

namespace {

constexpr const char* sZlibVersion = "1.2.11";
constexpr int sWindowBits = 15;
constexpr int sMemoryLevel = 8;
constexpr size_t sSizeField = 4;
/// What deflate can reach at best: one byte for 1,032.
constexpr uint64 sBestRatio = 1032;

Bytef* ToZlib(const char* data) { return reinterpret_cast<Bytef*>(const_cast<char*>(data)); }

void WriteSize(uint32 size, bytes& out) {
  for (size_t i = 0; i < sSizeField; ++i) out[i] = static_cast<char>(size >> (8 * i) & 0xff);
}

uint32 ReadSize(const bytes& packed) {
  uint32 size = 0;
  for (size_t i = 0; i < sSizeField; ++i) size |= static_cast<uint32>(static_cast<unsigned char>(packed[i])) << (8 * i);
  return size;
}

/// Compresses in one call, behind the size field of `out`, which comes sized to its limit. False leaves it useless.
bool DeflateBehindSize(const string& text, bytes& out) {
  z_stream stream = {};
  if (deflateInit2_(&stream, 9, Z_DEFLATED, sWindowBits, sMemoryLevel, Z_DEFAULT_STRATEGY, sZlibVersion,
                    static_cast<int>(sizeof stream)) != Z_OK) {
    return false;
  }
  stream.next_in = ToZlib(text.data());
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = ToZlib(out.data() + sSizeField);
  stream.avail_out = static_cast<uInt>(out.size() - sSizeField);
  const int result = deflate(&stream, Z_FINISH);
  out.resize(sSizeField + stream.total_out);
  deflateEnd(&stream);
  return result == Z_STREAM_END;
}

/// Empty on failure. The output limit is fixed before the one call: a little more than what incompressible text needs.
bytes Pack(const string& text) {
  if (text.empty() || text.size() > std::numeric_limits<uint32>::max()) return {};
  const uint32 size = static_cast<uint32>(text.size());
  const uint32 limit = size + 15 + (size >> 14) * 5;
  bytes packed(limit + sSizeField);
  WriteSize(size, packed);
  if (!DeflateBehindSize(text, packed)) packed.clear();
  return packed;
}

bool Inflate(std::string_view compressed, string& out) {
  z_stream stream = {};
  if (inflateInit2_(&stream, sWindowBits, sZlibVersion, static_cast<int>(sizeof stream)) != Z_OK) {
    LogError() << "DeCompressString init error";
    return false;
  }
  stream.next_in = ToZlib(compressed.data());
  stream.avail_in = static_cast<uInt>(compressed.size());
  stream.next_out = ToZlib(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = inflate(&stream, Z_FINISH);
  inflateEnd(&stream);
  return result == Z_STREAM_END;
}

/// Empty on failure.
string Unpack(const bytes& packed) {
  if (packed.size() < sSizeField) return "";
  const std::string_view compressed(packed.data() + sSizeField, packed.size() - sSizeField);
  const uint32 size = ReadSize(packed);
  if (size > sBestRatio * compressed.size() || compressed.size() > std::numeric_limits<uint32>::max()) return "";
  string text(size, '\0');
  return Inflate(compressed, text) ? text : "";
}

}  // namespace

void compressMapping(const qxVariantMapImpl& mapping, qxVariantMapImpl& meta) {
  string text;
  json::Json2Variant::Convert(mapping, text, false);
  const bytes packed = Pack(text);
  string encoded;
  base64Encode(packed.data(), packed.size(), encoded, B64_Standard);
  meta["mappingzip"] = encoded;
}

qxVariantMapImpl decompressMapping(const qxVariantMapImpl& meta) {
  bytes packed;
  base64Decode(meta.getString("mappingzip", ""), packed, B64_Standard);
  const string text = Unpack(packed);
  qxVariantMapImpl mapping;
  if (!json::Json2Variant::Convert(text.data(), text.size(), mapping)) return {};
  return mapping;
}

}  // namespace qx::couch
