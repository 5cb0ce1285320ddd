#include "netweft/couch/internal/FeedLine.h"

#include <stdexcept>

namespace qx::couch {

namespace {

bool GetBool(const qxVariantMapImpl& map, const char* key) {
  const auto found = map.find(key);
  return found != map.end() && found->second.toBool();
}

/// The compound name is a printed pair of binaries: {<<"db">>,<<"_design/doc">>}
string ReadDesignDocument(const string& compoundName) {
  constexpr size_t wrapping = 4;
  constexpr std::string_view separator = "\">>,<<\"";
  if (compoundName.size() < wrapping) throw std::out_of_range("invalid string position");

  std::string_view inner(compoundName);
  inner.remove_prefix(wrapping);
  if (compoundName.size() >= 2 * wrapping) inner.remove_suffix(wrapping);
  const size_t cut = inner.find(separator);
  return cut == std::string_view::npos ? string() : string(inner.substr(cut + separator.size()));
}

}  // namespace

DatabaseLineKind ClassifyDatabaseLine(const qxVariantMapImpl& line, int64& seq) {
  const auto sequence = line.find("seq");
  if (sequence != line.end()) {
    seq = sequence->second.toInteger();
    return seq < 0 ? DLK_InvalidSeq : DLK_Change;
  }
  if (!line.contains("error")) return DLK_Nothing;
  return line.getString("reason", {}) == "no_db_file" ? DLK_DatabaseMissing : DLK_Error;
}

void ReadChange(const qxVariantMapImpl& line, ChangesListener::CallbackParam& out) {
  const auto id = line.find("id");
  out.docId = id == line.end() ? string() : id->second.getString();
  out.revisions.clear();
  const auto changes = line.find("changes");
  if (changes != line.end()) {
    for (const qxVariant& entry : changes->second.getList()) {
      if (entry.getType() == qxVariant::VT_Map) out.revisions.push_back(entry.getMap().getString("rev", {}));
    }
  }
  out.deleted = GetBool(line, "deleted");
}

string ReadErrorText(const qxVariantMapImpl& line) { return "Change feed error : " + line.getString("error", {}); }

bool ReadServerEvent(const qxVariantMapImpl& line, ChangesListener::CallbackMsg& msg,
                     ChangesListener::CallbackParam& out) {
  const string type = line.getString("type", {});
  out.dbName = line.getString("db_name", {});
  if (type == "updated") {
    msg = ChangesListener::CM_DbUpdated;
  } else if (type == "deleted") {
    msg = ChangesListener::CM_DbDeleted;
  } else if (type == "created") {
    msg = ChangesListener::CM_DbCreated;
  } else if (type == "ddoc_updated") {
    msg = ChangesListener::CM_DbDesignDocUpdated;
    out.docId = ReadDesignDocument(out.dbName);
  } else {
    return false;
  }
  return true;
}

}  // namespace qx::couch
