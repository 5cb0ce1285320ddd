#pragma once

#include "netweft/base/system/qxVariant.h"

#include <string_view>

namespace qx::json {

class JsonTokens;

/// Builds dynamic values out of a JSON text. Nesting costs memory of its own and no stack. One thread at a time.
class JsonReader {
 public:
  /// How many levels a text may have, the outermost counted.
  static constexpr size_t sMaxLevels = 1000;

  /// `tokens` must outlive the reader and stand at the first token of a text.
  explicit JsonReader(JsonTokens& tokens) : mTokens(tokens) {}

  /// Read the whole text into an empty container. False when it is not JSON, or its outermost value is of another kind;
  /// the container then holds a part of it.
  bool read(qxVariantMapImpl& out);
  bool read(qxVariantListImpl& out);

 private:
  /// A container that is being filled; one of the two is set.
  struct Level {
    qxVariantMapImpl* map;
    qxVariantListImpl* list;
  };

  bool readLevels();
  bool readMember(qxVariantMapImpl& map);
  bool readElement(qxVariantListImpl& list);
  bool readName();
  bool readValue(qxVariant& value);
  bool enter(Level level);
  bool leave();

  JsonTokens& mTokens;
  vector<Level> mLevels;
  string mName;
};

}  // namespace qx::json
