#pragma once

#include "netweft/http/HttpMultiConnection.h"
#include "netweft/river/RiverParameters.h"
#include "netweft/river/internal/RiverBatch.h"

namespace qx::couch {

/// What the completion of a document's GET needs beside the record.
struct FetchContext {
  const bool* cancelFlag;
  const string* dbName;
  /// Bytes that the batch may hold.
  uint64 budget;
  /// Bytes that it holds.
  uint64 bodyAccumulated = 0;
  bool fetchFailed = false;
};

/// Queues a GET for each record of the batch, with the record as its user data. Design documents are not indexed: they
/// get `CA_Skip` and no request. The records must stay in place until all requests are done.
void QueueDocumentRequests(RiverBatch& batch, const RiverParameters& parameters, http::HttpMultiConnection& connection);

/// The completion callback: decides what becomes of the record. `context` is a `FetchContext`, `userData` a
/// `ChangeRecord`.
void OnDocumentFetched(http::HttpMultiConnection& connection, long status, const string& errorText,
                       const qxVariantMapImpl& headers, vector<char>& body, void* context, void* userData);

/// Queues the requests and pumps until all are done, cancelled or failed. False when the batch cannot go on: the cancel
/// flag is raised, or a document could not be fetched.
bool FetchDocuments(RiverBatch& batch, const RiverParameters& parameters, http::HttpMultiConnection& connection,
                    const bool* cancelFlag);

/// Cuts the batch at the first record that was not fetched, or that would bring the sum of `commandBytes` to
/// `maxBytes`. The sum of what stays goes to `reservedBytes`; the rest is returned, in order. (Fetching accepts a sum
/// of exactly `maxBytes`, and this puts that record back.)
list<ChangeRecord> TrimBatch(RiverBatch& batch, uint64 maxBytes);

}  // namespace qx::couch
