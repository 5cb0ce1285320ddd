#pragma once

#include "netweft/base/system/qxTypes.h"
#include "netweft/elasticsearch/ESConnectionParameters.h"

namespace qx::http {
class HttpConnection;
}

namespace qx::couch {

/// What became of a step of a batch.
enum class StepResult {
  Done,
  Cancelled,  ///< the cancel flag was raised: the batch is given up without a trace
  Failed,     ///< logged; the batch has to come back
  TooLarge,   ///< logged; the batch has to come back in smaller pieces
};

/// Posts one bulk body and judges the reply, item by item when the server reports errors. An empty body is not posted.
/// `reservedBytes` is what the body may hold.
StepResult PostBulk(http::HttpConnection& connection, const elasticsearch::ESConnectionParameters& es,
                    const string& indexName, const bytes& body, uint64 reservedBytes, const bool* cancelFlag);

/// Judges a bulk reply of status 200. Only an object whose "errors" is `false` is done.
StepResult JudgeBulkReply(const string& reply, const bool* cancelFlag);

}  // namespace qx::couch
