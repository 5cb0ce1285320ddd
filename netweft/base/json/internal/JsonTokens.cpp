#include "netweft/base/json/internal/JsonTokens.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace qx::json {

bool JsonTokens::scan(std::string_view text) {
  if (text.empty() || !reserve(text.size())) return false;
  std::memcpy(mText.get(), text.data(), text.size());
  std::memset(mText.get() + text.size(), 0, simdjson::SIMDJSON_PADDING);
  const simdjson::padded_string_view padded(mText.get(), text.size(), text.size() + simdjson::SIMDJSON_PADDING);
  return mParser.iterate_raw(padded).get(mTokens) == simdjson::SUCCESS;
}

bool JsonTokens::reserve(uint64 size) {
  if (size <= mCapacity) return true;
  if (size > simdjson::SIMDJSON_MAXSIZE_BYTES) return false;
  constexpr uint64 smallest = 4096;
  const uint64 wanted =
      std::min<uint64>(std::bit_ceil(std::max(size, smallest)), simdjson::SIMDJSON_MAXSIZE_BYTES);
  mCapacity = 0;
  mText = std::make_unique_for_overwrite<char[]>(wanted + simdjson::SIMDJSON_PADDING);
  // The library keeps a stack as deep as it is told; the reader has its own.
  constexpr size_t depth = 1;
  if (mParser.allocate(wanted, depth) != simdjson::SUCCESS) throw std::bad_alloc();
  mCapacity = wanted;
  return true;
}

}  // namespace qx::json
