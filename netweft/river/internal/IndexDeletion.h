#pragma once

#include "netweft/base/system/qxTypes.h"
#include "netweft/elasticsearch/ESConnectionParameters.h"
#include "netweft/http/HttpConnection.h"

namespace qx::couch {

/// How long the manager waits for a deleted index to be gone, in milliseconds.
constexpr int sIndexDeletionTimeoutMs = 5000;

/// Deletes one index and waits, up to `timeoutMs` milliseconds, until Elasticsearch says that it is gone. True when it
/// is, also when it was not there before; on false an error line tells why. A name that does not mean one single index
/// is refused before any request.
///
/// While `*cancelFlag` (null: none) is true nothing more is sent, and the result is false without an error line. A
/// request in hand is not ended by it.
bool DeleteIndex(const string& indexName, http::HttpConnection& connection,
                 const elasticsearch::ESConnectionParameters& es, int timeoutMs, const bool* cancelFlag = nullptr);

}  // namespace qx::couch
