#include "netweft/couch/internal/AllDocsRows.h"

#include <new>

namespace qx::couch {

namespace {

using Getter = MultiThreadedDocumentGetter;

/// "_rev" is a text if there is a value to read it from, and nothing at all otherwise.
qxVariantMapImpl MakeIdAndRev(const string& id, const qxVariantMapImpl& row) {
  qxVariantMapImpl doc;
  doc["_id"] = id;
  qxVariant& rev = doc["_rev"];
  const auto value = row.find("value");
  if (value != row.end() && value->second.getType() == qxVariant::VT_Map) {
    rev = value->second.getMap().getString("rev", "");
  }
  return doc;
}

void DeliverDocument(qxVariantMapImpl& row, const string& id, const RowReceiver& receive) {
  const auto doc = row.find("doc");
  if (doc != row.end() && doc->second.getType() == qxVariant::VT_Map) {
    receive(id, doc->second.editMap(), {}, Getter::DR_Found);
    return;
  }
  qxVariantMapImpl none;  // of a deleted document the server sends null
  receive(id, none, {}, Getter::DR_Found);
}

/// Without a copy; the keys that were asked for are texts.
const string& GetKey(const qxVariantMapImpl& row) {
  static const string none;
  const auto key = row.find("key");
  return key != row.end() && key->second.getType() == qxVariant::VT_String ? key->second.getString() : none;
}

void DeliverRow(qxVariantMapImpl& row, Getter::DocContent content, const RowReceiver& receive) {
  const string id = row.getString("key", "");
  const auto error = row.find("error");
  if (error != row.end()) {
    qxVariantMapImpl none;
    receive(id, none, error->second.toString(), Getter::DR_DocumentError);
  } else if (content == Getter::DC_IdAndRev) {
    qxVariantMapImpl doc = MakeIdAndRev(id, row);
    receive(id, doc, {}, Getter::DR_Found);
  } else {
    DeliverDocument(row, id, receive);
  }
}

}  // namespace

void DeliverAllDocsRows(qxVariantMapImpl& answer, Getter::DocContent content, const RowReceiver& receive) {
  const auto rows = answer.find("rows");
  if (rows == answer.end() || rows->second.getType() != qxVariant::VT_List) return;
  for (qxVariant& row : rows->second.editList()) {
    if (row.getType() != qxVariant::VT_Map) continue;
    try {
      DeliverRow(row.editMap(), content, receive);
    } catch (const std::bad_alloc& exception) {
      qxVariantMapImpl none;
      receive(GetKey(row.getMap()), none, exception.what(), Getter::DR_RequestFailed);
    }
  }
}

}  // namespace qx::couch
