#pragma once

#include "netweft/base/json/Json2Variant.h"

#include <gtest/gtest.h>

namespace qx::couch::test {

/// A map out of JSON text that must parse.
inline qxVariantMapImpl FromJson(const string& text) {
  qxVariantMapImpl map;
  EXPECT_TRUE(json::Json2Variant::Convert(text.data(), text.size(), map)) << text;
  return map;
}

inline string ToJson(const qxVariantMapImpl& map) {
  string text;
  json::Json2Variant::Convert(map, text, false);
  return text;
}

}  // namespace qx::couch::test
