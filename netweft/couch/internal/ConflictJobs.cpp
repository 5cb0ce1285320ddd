#include "netweft/couch/internal/ConflictJobs.h"

#include "netweft/base/system/qxLogObject.h"

#include <algorithm>

namespace qx::couch {

namespace {

/// A winner and at least one loser.
constexpr uint64 sLeastRevisions = 2;

bool TakeRow(qxVariant& row, ConflictJobs& jobs) {
  if (row.getType() != qxVariant::VT_Map) return false;
  const string id = row.getMap().getString("id", "");
  const auto value = row.editMap().find("value");
  if (id.empty() || value == row.getMap().end() || value->second.getList().size() < sLeastRevisions) return false;
  jobs[id].swap(value->second.editList());
  return true;
}

bool TakeRows(qxVariantMapImpl& answer, ConflictJobs& jobs) {
  const auto rows = answer.find("rows");
  if (rows == answer.end() || rows->second.getType() != qxVariant::VT_List) return false;
  qxVariantListImpl& list = rows->second.editList();
  return std::all_of(list.begin(), list.end(), [&jobs](qxVariant& row) { return TakeRow(row, jobs); });
}

}  // namespace

bool TakeConflictRows(qxVariantMapImpl& answer, const string& dbName, ConflictJobs& jobs) {
  if (TakeRows(answer, jobs)) return true;
  LogError() << "Malformed json while fetching conflict view of database " << dbName;
  return false;
}

}  // namespace qx::couch
