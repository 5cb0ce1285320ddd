#include "netweft/river/internal/IndexLifecycle.h"

#include "netweft/base/system/qxFlag.h"
#include "netweft/river/internal/IndexName.h"
#include "netweft/river/internal/IndexOpening.h"

#include <algorithm>
#include <limits>

namespace qx::couch {

bool ensureIndexes(http::HttpConnection& connection, DbEntry& entry, const RiverParameters& parameters,
                   uint64* startSeq, map<string, string>& descriptors, const bool* cancelFlag) {
  *startSeq = std::numeric_limits<uint64>::max();
  const bool namesAreGood = std::all_of(entry.indexes.begin(), entry.indexes.end(),
                                        [](const auto& item) { return RequireConcreteIndexName(item.first); });
  if (!namesAreGood) return false;
  for (auto& [indexName, index] : entry.indexes) {
    IndexOpening opening(connection, parameters.es, index, descriptors, cancelFlag);
    if (!opening.run(*startSeq)) return false;
  }
  return true;
}

}  // namespace qx::couch
