#pragma once

#include "netweft/base/json/internal/JsonOutput.h"
#include "netweft/base/system/qxVariant.h"

namespace qx::json {

/// Writes dynamic values as JSON text. Nesting costs memory of its own and no stack, however deep a host has built it.
/// One thread at a time.
class JsonWriter {
 public:
  /// `out` must outlive the writer. `pretty` indents by two blanks.
  JsonWriter(JsonOutput& out, bool pretty) : mOut(out), mPretty(pretty) {}

  /// Write a whole text; when the output fails, they stop there.
  void write(const qxVariantMapImpl& map);
  void write(const qxVariantListImpl& list);

 private:
  /// A container that is being written: what is still to come of it. `map` or `list` is set.
  struct Level {
    const qxVariantMapImpl* map;
    const qxVariantListImpl* list;
    qxVariantMapImpl::const_iterator member;
    uint64 element;
    bool empty;  ///< nothing of it has been written yet
  };

  void enter(const qxVariantMapImpl& map);
  void enter(const qxVariantListImpl& list);
  void leave(char bracket);
  void writeLevels();
  void writeNextMember(Level& level);
  void writeNextElement(Level& level);
  void writeValue(const qxVariant& value);
  void separate(Level& level);
  void breakLine();

  JsonOutput& mOut;
  const bool mPretty;
  vector<Level> mLevels;
};

}  // namespace qx::json
