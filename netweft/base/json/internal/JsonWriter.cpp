#include "netweft/base/json/internal/JsonWriter.h"

#include "netweft/base/json/internal/JsonNumber.h"
#include "netweft/base/json/internal/JsonString.h"
#include "netweft/base/system/internal/qxVariantAccess.h"

namespace qx::json {

void JsonWriter::write(const qxVariantMapImpl& map) {
  enter(map);
  writeLevels();
}

void JsonWriter::write(const qxVariantListImpl& list) {
  enter(list);
  writeLevels();
}

void JsonWriter::writeLevels() {
  while (!mLevels.empty() && !mOut.failed()) {
    Level& level = mLevels.back();
    if (level.map != nullptr) {
      writeNextMember(level);
    } else {
      writeNextElement(level);
    }
  }
}

void JsonWriter::enter(const qxVariantMapImpl& map) {
  mOut.put('{');
  mLevels.push_back({&map, nullptr, map.begin(), 0, true});
}

void JsonWriter::enter(const qxVariantListImpl& list) {
  mOut.put('[');
  mLevels.push_back({nullptr, &list, {}, 0, true});
}

void JsonWriter::leave(char bracket) {
  const bool empty = mLevels.back().empty;
  mLevels.pop_back();
  if (!empty) breakLine();
  mOut.put(bracket);
}

void JsonWriter::writeNextMember(Level& level) {
  if (level.member == level.map->end()) return leave('}');
  const auto& [name, value] = *level.member++;
  if (value.getType() == qxVariant::VT_Absent) return;
  separate(level);
  mOut.put('"');
  PutJsonString(name, mOut);
  mOut.put("\":");
  if (mPretty) mOut.put(' ');
  writeValue(value);
}

void JsonWriter::writeNextElement(Level& level) {
  if (level.element == level.list->size()) return leave(']');
  const qxVariant& value = (*level.list)[level.element++];
  separate(level);
  writeValue(value);
}

/// May open a level, which moves the others: no reference to one is good after it.
void JsonWriter::writeValue(const qxVariant& value) {
  switch (value.getType()) {
    case qxVariant::VT_Integer: return mOut.putInteger(qxVariantAccess::GetInteger(value));
    case qxVariant::VT_Double: return mOut.put(JsonDoubleText(qxVariantAccess::GetDouble(value)));
    case qxVariant::VT_Number: return mOut.put(qxVariantAccess::GetNumber(value));
    case qxVariant::VT_Bool: return mOut.put(qxVariantAccess::GetBool(value) ? "true" : "false");
    case qxVariant::VT_String:
      mOut.put('"');
      PutJsonString(value.getString(), mOut);
      return mOut.put('"');
    case qxVariant::VT_Map: return enter(value.getMap());
    case qxVariant::VT_List: return enter(value.getList());
    case qxVariant::VT_Absent:
    case qxVariant::VT_Null: return mOut.put("null");
  }
}

void JsonWriter::separate(Level& level) {
  if (!level.empty) mOut.put(',');
  level.empty = false;
  breakLine();
}

void JsonWriter::breakLine() {
  if (!mPretty) return;
  mOut.put('\n');
  mOut.putBlanks(2 * mLevels.size());
}

}  // namespace qx::json
