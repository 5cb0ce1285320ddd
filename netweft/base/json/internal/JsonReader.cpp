#include "netweft/base/json/internal/JsonReader.h"

#include "netweft/base/json/internal/JsonNumber.h"
#include "netweft/base/json/internal/JsonString.h"
#include "netweft/base/json/internal/JsonTokens.h"
#include "netweft/base/system/internal/qxVariantAccess.h"

namespace qx::json {

namespace {

/// `token` must start with a quote. What starts as a string and does not end as one is rubbish behind a string's end,
/// which the scanner leaves to us.
bool Unquote(std::string_view token, string& out) {
  if (token.size() < 2 || token.back() != '"') return false;
  return UnescapeJsonString(token.substr(1, token.size() - 2), out);
}

/// A name that is larger than all others so far, as in a text that we wrote, is put behind the last without a search.
/// Of equal names the last wins.
qxVariant& InsertMember(qxVariantMapImpl& map, string&& name) {
  qxVariantAccess::Tree& tree = qxVariantAccess::EditTree(map);
  return tree.try_emplace(tree.end(), std::move(name))->second;
}

}  // namespace

bool JsonReader::read(qxVariantMapImpl& out) {
  return mTokens.takeFirst() == '{' && enter({&out, nullptr}) && readLevels();
}

bool JsonReader::read(qxVariantListImpl& out) {
  return mTokens.takeFirst() == '[' && enter({nullptr, &out}) && readLevels();
}

/// Each step takes what is next in the innermost open container: a member, an element or its end.
bool JsonReader::readLevels() {
  while (!mLevels.empty()) {
    const Level level = mLevels.back();
    if (!(level.map != nullptr ? readMember(*level.map) : readElement(*level.list))) return false;
  }
  return mTokens.atEnd();
}

bool JsonReader::readMember(qxVariantMapImpl& map) {
  if (mTokens.peek() == '}') return leave();
  if (!map.empty() && mTokens.takeFirst() != ',') return false;
  return readName() && mTokens.takeFirst() == ':' && readValue(InsertMember(map, std::move(mName)));
}

bool JsonReader::readElement(qxVariantListImpl& list) {
  if (mTokens.peek() == ']') return leave();
  if (!list.empty() && mTokens.takeFirst() != ',') return false;
  return readValue(list.push_back(qxVariant()));
}

bool JsonReader::readName() { return mTokens.peek() == '"' && Unquote(mTokens.takeWhole(), mName); }

bool JsonReader::readValue(qxVariant& value) {
  switch (mTokens.peek()) {
    case '{':
      mTokens.takeFirst();
      value.setType(qxVariant::VT_Map);
      return enter({&value.editMap(), nullptr});
    case '[':
      mTokens.takeFirst();
      value.setType(qxVariant::VT_List);
      return enter({nullptr, &value.editList()});
    case '"': value.setType(qxVariant::VT_String); return Unquote(mTokens.takeWhole(), value.editString());
    case 't': value = true; return mTokens.takeWhole() == "true";
    case 'f': value = false; return mTokens.takeWhole() == "false";
    case 'n': qxVariantAccess::SetNull(value); return mTokens.takeWhole() == "null";
    default: return ReadJsonNumber(mTokens.takeWhole(), value);
  }
}

bool JsonReader::enter(Level level) {
  if (mLevels.size() == sMaxLevels) return false;
  mLevels.push_back(level);
  return true;
}

bool JsonReader::leave() {
  mTokens.takeFirst();
  mLevels.pop_back();
  return true;
}

}  // namespace qx::json
