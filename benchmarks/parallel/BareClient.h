#pragma once

#include "netweft/base/system/qxTypes.h"

#include <functional>

namespace qx::bench {

/// The same requests over bare libcurl: so many threads with an easy handle each take batches of ids in turn, post a
/// body for each, and keep the answer in memory. `makeBody` gives the body for ids [first, last); `onAnswer` may be
/// null. Gives the count of answers with status 200 or 201.
uint64 PostBatches(const string& url, const vector<string>& ids, unsigned int threads, uint64 batchSize,
                   const std::function<string(const string* first, const string* last)>& makeBody,
                   const std::function<void(const string& answer)>& onAnswer);

/// The same with one thread that makes the bodies, the caller's, and so many that post them: a body waits in one slot,
/// as in the uploader. `makeBody` gives the body for the id. Gives the count of answers with status 200 or 201.
uint64 PostHandedOver(const string& url, const vector<string>& ids, unsigned int threads,
                      const std::function<string(const string& id)>& makeBody);

}  // namespace qx::bench
