#pragma once

#include "netweft/couch/internal/DbListenRecord.h"
#include "tests/couch/FeedRecorder.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

namespace qx::test {

/// Feeds apart from any transfer: the records that the step machines work on.
class FeedRecordFixture : public testing::Test {
 protected:
  using Listener = couch::ChangesListener;
  using Record = couch::DbListenRecord;

  static constexpr int32 sHeartbeatSec = 30;
  static constexpr int32 sNoDelay = -1;  ///< a wait that is over at once

  unique_ptr<Record> makeRecord(const string& db, int64 since = 0, int32 reconnectDelaySec = sNoDelay,
                                Listener::RetrieveContent content = Listener::RC_ChangesOnly) {
    return std::make_unique<Record>(db, since, FeedRecorder::Record, &recorder, content, sHeartbeatSec,
                                    reconnectDelaySec);
  }
  unique_ptr<Record> makeRecordIn(const string& db, couch::ListenState state, int64 since = 0) {
    unique_ptr<Record> record = makeRecord(db, since);
    record->state = state;
    return record;
  }

  LogCapture log;
  FeedRecorder recorder;
};

}  // namespace qx::test
