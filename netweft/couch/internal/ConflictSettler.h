#pragma once

#include "netweft/couch/ResolveConflictRequest.h"

namespace qx::http {
class HttpConnection;
}

namespace qx::couch {

/// The URL of what lies below the request's server, with `query` added to the query that the request has.
Url ToConflictUrl(const ResolveConflictRequest& request, const vector<string>& segments, const StringPairList& query);

/// Settles the conflict of single documents: reads all versions, has them merged, and says what must be posted.
///
/// All that it is given must outlive it. The flags are those of the request, through qxFlag.h.
class ConflictSettler {
 public:
  ConflictSettler(http::HttpConnection& connection, const ResolveConflictRequest& request, const bool& cancelFlag,
                  bool& errorFlag)
      : mConnection(connection), mRequest(request), mCancelFlag(cancelFlag), mErrorFlag(errorFlag) {}

  /// The entries for `_bulk_docs` that solve this document's conflict: a deletion for each losing revision and, last,
  /// the winner's next version. Empty when the document must be left as it is. Passes on what the resolver throws.
  qxVariantListImpl settle(const string& id, const qxVariantListImpl& revisions) const;

 private:
  bool readWinner(const string& id, qxVariantMapImpl& winner) const;
  /// False when the request was cancelled meanwhile. A version that can't be read is an empty map.
  bool readLoser(const string& id, const string& revision, qxVariantMapImpl& version) const;
  bool get(const string& id, const StringPairList& query, qxVariantMapImpl& document) const;
  /// Logs a document that is missing; any other failure is an error of the request.
  void noteFailure(const string& name) const;
  void noteInvalid(const string& name) const;
  /// The content of the winner's next version.
  qxVariantMapImpl merge(qxVariantMapImpl& winner, list<qxVariantMapImpl>& versions) const;

  http::HttpConnection& mConnection;
  const ResolveConflictRequest& mRequest;
  const bool& mCancelFlag;
  bool& mErrorFlag;
};

}  // namespace qx::couch
