#pragma once

#include "netweft/base/json/Json2Variant.h"

#include <string_view>

namespace qx::fuzz {

/// False when the text is no JSON object.
inline bool ReadJson(std::string_view text, qxVariantMapImpl& map) {
  return json::Json2Variant::Convert(text.data(), text.size(), map);
}

inline string WriteJson(const qxVariantMapImpl& map) {
  string text;
  json::Json2Variant::Convert(map, text, false);
  return text;
}

}  // namespace qx::fuzz
