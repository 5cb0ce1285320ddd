#pragma once

#include "netweft/base/system/qxVariant.h"
#include "netweft/couch/ChangesListener.h"

/// What the lines of a feed say, apart from what is done about it. A line is hostile: every member may be missing or of
/// any type.
namespace qx::couch {

/// A line of a database's feed:
///   {"seq":12,"id":"doc","changes":[{"rev":"2-b"},{"rev":"1-a"}],"deleted":true}
///   {"error":"not_found","reason":"no_db_file"}
///   {"last_seq":12,"pending":0}
enum DatabaseLineKind : int32 {
  DLK_Nothing,  ///< nothing to act on, as the closing line
  DLK_Change,
  DLK_InvalidSeq,  ///< a change whose sequence is negative
  DLK_Error,
  DLK_DatabaseMissing,  ///< an error that says that the database does not exist
};

/// `seq` is set for a change and for an invalid sequence.
DatabaseLineKind ClassifyDatabaseLine(const qxVariantMapImpl& line, int64& seq);

/// Sets `docId`, `revisions` and `deleted`. An id that is no text is empty; entries of "changes" that are no object are
/// passed over.
void ReadChange(const qxVariantMapImpl& line, ChangesListener::CallbackParam& out);

/// "Change feed error : " and the server's word for it.
string ReadErrorText(const qxVariantMapImpl& line);

/// A line of the server-wide feed:
///   {"db_name":"shop","type":"updated","seq":"5-xyz"}
/// Sets `msg`, and `dbName` and `docId` of `out`. False when the line is none that is reported. Throws
/// std::out_of_range "invalid string position" when the compound name of a design document's update is shorter than its
/// wrapping.
bool ReadServerEvent(const qxVariantMapImpl& line, ChangesListener::CallbackMsg& msg,
                     ChangesListener::CallbackParam& out);

}  // namespace qx::couch
