#include "netweft/base/json/internal/JsonTokens.h"

#include <simdjson.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace qx::json {

namespace {

constexpr uint32 sNoTokens[] = {0};

}  // namespace

struct JsonTokens::State {
  simdjson::ondemand::parser parser;
  unique_ptr<char[]> text;
  uint64 capacity = 0;
};

JsonTokens::JsonTokens() : mState(std::make_unique<State>()) { clear(); }

JsonTokens::~JsonTokens() = default;

uint64 JsonTokens::capacity() const { return mState->capacity; }

bool JsonTokens::scan(std::string_view text) {
  clear();
  if (text.empty() || !reserve(text.size())) return false;
  char* const copy = mState->text.get();
  std::memcpy(copy, text.data(), text.size());
  std::memset(copy + text.size(), 0, simdjson::SIMDJSON_PADDING);
  const simdjson::padded_string_view padded(copy, text.size(), text.size() + simdjson::SIMDJSON_PADDING);
  simdjson::ondemand::json_iterator tokens;
  if (mState->parser.iterate_raw(padded).get(tokens) != simdjson::SUCCESS) return false;
  mText = copy;
  // The library ends its row of positions with the size, by which it tells how long the last token is.
  mNext = tokens.position();
  mSize = static_cast<uint32>(text.size());
  return true;
}

void JsonTokens::clear() {
  mText = "";
  mNext = sNoTokens;
  mSize = 0;
}

bool JsonTokens::reserve(uint64 size) {
  if (size <= mState->capacity) return true;
  if (size > simdjson::SIMDJSON_MAXSIZE_BYTES) return false;
  constexpr uint64 smallest = 4096;
  const uint64 wanted = std::min<uint64>(std::bit_ceil(std::max(size, smallest)), simdjson::SIMDJSON_MAXSIZE_BYTES);
  mState->capacity = 0;
  mState->text = std::make_unique_for_overwrite<char[]>(wanted + simdjson::SIMDJSON_PADDING);
  // The library keeps a stack as deep as it is told; the reader has its own.
  constexpr size_t depth = 1;
  if (mState->parser.allocate(wanted, depth) != simdjson::SUCCESS) throw std::bad_alloc();
  mState->capacity = wanted;
  return true;
}

}  // namespace qx::json
