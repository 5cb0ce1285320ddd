#include "netweft/base/system/internal/Clock.h"
#include "tests/river/RiverWorld.h"
#include "tests/support/CurlTrace.h"

#include <gmock/gmock.h>

namespace qx::couch::test {

namespace {

using qx::test::CurlCall;
using qx::test::CurlTrace;
using testing::ElementsAre;

/// Which limits stood on a handle when it was sent to an address that holds `piece`: "bytes/seconds" of the stall rule.
set<string> StallLimits(const CurlTrace& trace, const string& piece) {
  struct State {
    string bytesPerSec;
    string seconds;
    bool sent = false;
  };
  map<const void*, State> handles;
  for (const CurlCall& call : trace.getCalls()) {
    const size_t blank = call.text.find(' ');
    const string name = call.text.substr(0, blank);
    const string value = call.text.substr(blank + 1);
    State& state = handles[call.handle];
    if (name == "LOW_SPEED_LIMIT") state.bytesPerSec = value;
    if (name == "LOW_SPEED_TIME") state.seconds = value;
    if (name == "URL" && value.find(piece) != string::npos) state.sent = true;
  }
  set<string> limits;
  for (const auto& [handle, state] : handles) {
    if (state.sent) limits.insert(state.bytesPerSec + "/" + state.seconds);
  }
  return limits;
}

}  // namespace

class RiverTransfersTest : public RiverWorld {
 protected:
  RiverTransfersTest() { mParameters.workerCount = 1; }

  /// The connection, counted from 0, that a document was fetched over.
  uint64 connectionOf(const string& target) {
    for (const qx::test::Request& request : mCouch.getScript().getRequests()) {
      if (request.target == target) return request.connection;
    }
    ADD_FAILURE() << "nobody asked for " << target;
    return 0;
  }
  void bring(const string& id) {
    mCouch.put("a", id);
    ASSERT_TRUE(untilDocument("things", id));
  }
};

// Elasticsearch may think for long before it answers a bulk request; documents flow, and everything else is short.
TEST_F(RiverTransfersTest, EachKindOfTransferHasItsOwnStallLimits) {
  const CurlTrace trace;
  start();
  open("a", "things");
  bring("doc");
  EXPECT_THAT(StallLimits(trace, "/a/doc"), ElementsAre("5/45"));
  EXPECT_THAT(StallLimits(trace, "/things/_doc/_bulk"), ElementsAre("1/60"));
  EXPECT_THAT(StallLimits(trace, "/things\""), ElementsAre("1/45"));
  EXPECT_THAT(trace.getValues("CONNECTTIMEOUT"), testing::Contains("10"));
  stop();
}

TEST_F(RiverTransfersTest, AWorkersTransportsLiveForAMinuteAndThenMakeWayWhenItIsIdle) {
  start();
  open("a", "things");
  bring("one");
  bring("two");
  EXPECT_EQ(connectionOf("/a/two"), connectionOf("/a/one"));
  impl::AdvanceClock(61000);
  bring("three");
  bring("four");
  EXPECT_NE(connectionOf("/a/four"), connectionOf("/a/one"));
}

}  // namespace qx::couch::test
