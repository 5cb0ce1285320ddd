#pragma once

#include "netweft/base/system/qxVariant.h"
#include "netweft/couch/CouchConnectionParameters.h"
#include "netweft/http/HttpConnection.h"

namespace qx::couch {

/// Walks the changes of a database up to the sequence that it has at the start, and gives the ids of the documents that
/// are not deleted. One thread. Failures are logged, in the words of the updater.
class ChangeListing {
 public:
  enum Step {
    LS_Ids,    ///< there are ids, perhaps none this time: ask again
    LS_End,    ///< the last sequence is reached
    LS_Error,  ///< logged
  };

  /// `server` must outlive the listing.
  ChangeListing(const CouchConnectionParameters& server, const string& db);

  /// Asks for the sequence at which the walk ends. False, logged, when the server does not tell.
  bool start();

  /// Makes at most one request. The ids replace what `ids` holds.
  Step next(vector<string>& ids);

 private:
  Step read(const qxVariantMapImpl& answer, vector<string>& ids);
  /// Looks at one entry of the answer. `LS_End`: it lies beyond the last sequence, and nothing behind it counts.
  Step readChange(const qxVariant& change, vector<string>& ids);
  bool get(const StringPairList& query, qxVariantMapImpl& answer);

  const CouchConnectionParameters& mServer;
  const string mDbName;
  http::HttpConnection mConnection{true};
  int64 mSince = 0;
  int64 mLast = 0;
};

}  // namespace qx::couch
