#include "tests/live/RandomFaults.h"

namespace qx::test {

Fault RandomFaults::draw() {
  const std::lock_guard lock(mMutex);
  Fault fault;
  if (below(mOneIn) == 0) {
    fault.kind = static_cast<Fault::Kind>(1 + below(KindCount - 1));
    // Small offsets hit heads, large ones bodies and feeds: as many of each order of magnitude.
    fault.offset = below(uint64{1} << below(16));
    fault.pause = std::chrono::milliseconds(below(2000));
    fault.pieceSize = 1 + below(3);
    fault.slicedBytes = 300;
    if (fault.kind == Fault::FK_Corrupt) {
      fault.offset = below(5);
      fault.mask = static_cast<unsigned char>(1 + below(31));
    }
  }
  ++mCounts[fault.kind];
  return fault;
}

}  // namespace qx::test
