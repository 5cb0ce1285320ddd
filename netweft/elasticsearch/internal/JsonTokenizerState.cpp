#include "netweft/elasticsearch/internal/JsonTokenizerState.h"

namespace qx::elasticsearch {

void JsonTokenizerState::beginChunk(const char* data) {
  stringStart = data;
  valueStart = data;
  stringEnd = data + 1;
  valueEnd = data + 1;
}

void JsonTokenizerState::endChunk(size_t keptSize) {
  if (inString && stringCarry.size() <= keptSize) stringCarry.append(stringStart, stringEnd);
  if (inValue) valueCarry.append(valueStart, valueEnd);
  stringStart = nullptr;
  stringEnd = nullptr;
  valueStart = nullptr;
  valueEnd = nullptr;
}

std::string_view JsonTokenizerState::viewString(string& joined) const {
  const std::string_view here(stringStart, static_cast<size_t>(stringEnd - stringStart));
  if (stringCarry.empty()) return here;
  joined = stringCarry;
  joined += here;
  return joined;
}

}  // namespace qx::elasticsearch
