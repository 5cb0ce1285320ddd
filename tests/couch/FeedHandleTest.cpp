#include "netweft/couch/internal/FeedHandle.h"

#include "tests/couch/FeedRecordFixture.h"
#include "tests/support/CurlTrace.h"

#include <limits>
#include <stdexcept>

namespace qx::test {
namespace {

using namespace couch;
using testing::ElementsAre;

class FeedHandleTest : public FeedRecordFixture {
 protected:
  using Function = size_t (*)(char*, size_t, size_t, void*);

  int setUp(long connectTimeoutSec = 10) {
    trace.clear();
    return SetUpFeedHandle(*record, connectTimeoutSec);
  }
  const void* find(const string& text) {
    const void* found = nullptr;
    for (const CurlCall& call : trace.getCalls()) {
      if (call.text == text) found = call.pointer;
    }
    return found;
  }
  size_t callFunction(const string& option, string data) {
    const auto function = reinterpret_cast<Function>(const_cast<void*>(find(option + " set")));
    return function(data.data(), 1, data.size(), record.get());
  }

  unique_ptr<Record> record = makeRecordIn("shop", LS_Connecting, 3);
  CurlTrace trace;
};

TEST_F(FeedHandleTest, TheOptionsAreSetInTheirOrder) {
  EXPECT_EQ(setUp(), 0);
  EXPECT_THAT(
      trace.getTexts(),
      ElementsAre("HTTPHEADER [Accept:application/json]", "HEADERDATA set", "HEADERFUNCTION set", "WRITEDATA set",
                  "WRITEFUNCTION set", "NOPROGRESS 1", "FORBID_REUSE 0", "FRESH_CONNECT 0", "PROXY \"\"",
                  "SSL_VERIFYPEER 0", "SSL_VERIFYHOST 0", "SSLVERSION 6", "CONNECTTIMEOUT 10", "LOW_SPEED_LIMIT 0",
                  "LOW_SPEED_TIME 0", "MAX_RECV_SPEED_LARGE 0", "MAX_SEND_SPEED_LARGE 0", "TCP_KEEPALIVE 1",
                  "TCP_KEEPIDLE 90", "TCP_KEEPINTVL 90", "ERRORBUFFER set", "VERBOSE 0", "COOKIEJAR \"/dev/null\""));
}

TEST_F(FeedHandleTest, TheRecordIsTheDataOfBothFunctions) {
  setUp();
  EXPECT_EQ(find("HEADERDATA set"), record.get());
  EXPECT_EQ(find("WRITEDATA set"), record.get());
  EXPECT_EQ(find("ERRORBUFFER set"), record->errorBuffer.data());
}

TEST_F(FeedHandleTest, FailedOptionsAreReportedTogetherAndTheOthersAreSet) {
  trace.failOption(CURLOPT_PROXY, 48);
  trace.failOption(CURLOPT_COOKIEJAR, 3);
  EXPECT_EQ(setUp(), 48 | 3);
  EXPECT_EQ(trace.getCalls().size(), 23u);
}

TEST_F(FeedHandleTest, AHugeHeartbeatDoesNotOverflow) {
  record = std::make_unique<Record>("shop", 0, nullptr, nullptr, ChangesListener::RC_ChangesOnly,
                                    std::numeric_limits<int32>::max(), 1);
  setUp();
  EXPECT_THAT(trace.getValues("TCP_KEEPIDLE"), ElementsAre(std::to_string(3l * std::numeric_limits<int32>::max())));
}

TEST_F(FeedHandleTest, HeaderLinesReachTheMachine) {
  setUp();
  EXPECT_EQ(callFunction("HEADERFUNCTION", "HTTP/1.1 200 OK\r\n"), 17u);
  EXPECT_EQ(callFunction("HEADERFUNCTION", "\r\n"), 2u);
  EXPECT_EQ(record->state, LS_Listening);
}

TEST_F(FeedHandleTest, BytesThatTheMachineTakesAreAccepted) {
  setUp();
  record->state = LS_Listening;
  EXPECT_EQ(callFunction("WRITEFUNCTION", "{\"seq\":4}\n"), 10u);
}

TEST_F(FeedHandleTest, BytesThatTheMachineRefusesEndTheTransfer) {
  setUp();
  EXPECT_EQ(callFunction("WRITEFUNCTION", "early"), 0u);
}

TEST_F(FeedHandleTest, AnExceptionEndsTheTransferAndIsKept) {
  setUp();
  record->state = LS_Listening;
  recorder.onEvent = [](const FeedEvent&) { throw std::runtime_error("enough"); };
  EXPECT_EQ(callFunction("WRITEFUNCTION", "\n"), 0u);
  EXPECT_THROW(record->exceptions.rethrow(), std::runtime_error);
}

TEST_F(FeedHandleTest, AnExceptionOfAHeaderLineEndsTheTransferToo) {
  setUp();
  recorder.onEvent = [](const FeedEvent&) { throw std::runtime_error("enough"); };
  EXPECT_EQ(callFunction("HEADERFUNCTION", "\r\n"), 0u);
  EXPECT_THROW(record->exceptions.rethrow(), std::runtime_error);
}

}  // namespace
}  // namespace qx::test
