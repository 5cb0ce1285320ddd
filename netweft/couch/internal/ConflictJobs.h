#pragma once

#include "netweft/base/system/qxVariant.h"

namespace qx::couch {

/// Documents in conflict by their ids, each with its revisions as the view lists them, the winner first.
using ConflictJobs = map<string, qxVariantListImpl>;

/// Puts the rows of a view's answer into `jobs`, in place of what is there for the same documents. Takes the answer
/// apart. False, logged for the database `dbName`, when it is no such answer; the rows before the malformed one are in
/// `jobs`.
bool TakeConflictRows(qxVariantMapImpl& answer, const string& dbName, ConflictJobs& jobs);

}  // namespace qx::couch
