#pragma once

#include "netweft/elasticsearch/ESConnectionParameters.h"
#include "netweft/river/internal/BulkPosting.h"
#include "netweft/river/internal/RiverBatch.h"

namespace qx::couch {

/// Makes what an index was sent visible, and then records in its `_meta` that it holds everything up to `sequence`.
/// Never lowers the recorded sequence.
///
/// The index must still be the physical creation that the batch was meant for: somebody who deletes an index by hand
/// gets it re-created by the next bulk request, without its settings and its `_meta`, and a sequence written there
/// would hide that everything before this batch is gone.
StepResult RefreshIndex(http::HttpConnection& connection, const elasticsearch::ESConnectionParameters& es,
                        const BatchIndex& index, uint64 sequence, const bool* cancelFlag);

}  // namespace qx::couch
