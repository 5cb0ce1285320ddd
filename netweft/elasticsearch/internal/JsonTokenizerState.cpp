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

size_t JsonTokenizerState::getStringSize() const {
  return stringCarry.size() + static_cast<size_t>(stringEnd - stringStart);
}

void JsonTokenizerState::copyString(string& out) const {
  if (stringCarry.empty()) {
    out.assign(stringStart, stringEnd);
  } else {
    out = stringCarry;
    out.append(stringStart, stringEnd);
  }
}

}  // namespace qx::elasticsearch
