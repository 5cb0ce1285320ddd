#include "fuzz/JsonMap.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/couch/internal/AllDocsRows.h"
#include "netweft/couch/internal/ConflictJobs.h"

/// The rows of an answer, whatever they hold: each that is an object reaches the getter once, in order and under its
/// key, and the conflict solver takes none that names no document or no loser.
namespace qx::fuzz {
namespace {

using namespace couch;
using Getter = MultiThreadedDocumentGetter;

vector<string> ListKeys(const qxVariantMapImpl& answer) {
  vector<string> keys;
  const qxVariant rows = answer.getValue("rows", {});
  for (const qxVariant& row : rows.getList()) {
    if (row.getType() == qxVariant::VT_Map) keys.push_back(row.getMap().getString("key", ""));
  }
  return keys;
}

void CheckDocuments(qxVariantMapImpl answer, Getter::DocContent content) {
  const vector<string> keys = ListKeys(answer);
  vector<string> received;
  DeliverAllDocsRows(answer, content,
                     [&](const string& id, const qxVariantMapImpl& doc, const string&, Getter::DocumentResult result) {
                       received.push_back(id);
                       if (result != Getter::DR_Found) Require(doc.empty(), "an error comes without a document");
                       if (result == Getter::DR_Found && content == Getter::DC_IdAndRev) {
                         Require(doc.getString("_id", "no id") == id && doc.size() == 2,
                                 "an identifier comes with its revision");
                       }
                     });
  Require(received == keys, "each row is received once, in order");
}

void CheckConflicts(qxVariantMapImpl answer) {
  const size_t rows = ListKeys(answer).size();
  ConflictJobs jobs;
  const bool isGood = TakeConflictRows(answer, "db", jobs);
  Require(jobs.size() <= rows, "no job comes from nowhere");
  Require(!isGood || jobs.empty() == (rows == 0), "each row is a job");
  for (const auto& [id, revisions] : jobs) {
    Require(!id.empty() && revisions.size() >= 2, "a job names a document, a winner and a loser");
  }
}

void Check(std::string_view text) {
  qxVariantMapImpl answer;
  if (!ReadJson(text, answer)) return;
  for (const auto content : {Getter::DC_IdAndRev, Getter::DC_Document}) CheckDocuments(answer, content);
  CheckConflicts(std::move(answer));
}

const Target sTarget("couch_rows", Check);

}  // namespace
}  // namespace qx::fuzz
