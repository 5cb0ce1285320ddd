#include "tests/http/MultiConnectionFixture.h"

namespace qx::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// How often it turns, when it waits, and what it makes of libcurl's own failures.
class HttpMultiConnectionPumpTest : public MultiConnectionFixture {};

TEST_F(HttpMultiConnectionPumpTest, UpdateWithoutTimeIsOnePass) {
  server.queue(Reply::Silent());
  addPath("/");
  multi->updateConnection(0);
  EXPECT_GE(faults.getCalls(CurlMultiFaults::F_Perform), 1);
  EXPECT_LE(faults.getCalls(CurlMultiFaults::F_Perform), 3);
  EXPECT_EQ(faults.getCalls(CurlMultiFaults::F_AddHandle), 1);
  faults.clearCalls();
  multi->updateConnection(-1);
  EXPECT_LE(faults.getCalls(CurlMultiFaults::F_Perform), 3);
}

TEST_F(HttpMultiConnectionPumpTest, BusySlotsAndAQueueDoNotSpin) {
  server.queue(Reply::Silent());
  addPath("/");
  addPath("/queued");
  ASSERT_TRUE(pumpUntilRequests(1));
  multi->updateConnection(100);  // the last of the client's own events
  faults.clearCalls();
  multi->updateConnection(60000);
  EXPECT_EQ(faults.getCalls(CurlMultiFaults::F_Perform), 3);
  EXPECT_EQ(faults.getCalls(CurlMultiFaults::F_Wait), 3);
  EXPECT_EQ(faults.getLastWaitMs(), 5);
  EXPECT_EQ(faults.getLastWaitDescriptors(), 0u);
}

TEST_F(HttpMultiConnectionPumpTest, AResponseUnderWayIsWorthTheWholeTime) {
  server.queue(gated("body"));
  addPath("/");
  ASSERT_TRUE(pumpUntilGated());
  multi->updateConnection(20);
  const auto start = std::chrono::steady_clock::now();
  multi->updateConnection(60);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(60));
  gate.open();
  ASSERT_TRUE(pumpUntilDone());
}

TEST_F(HttpMultiConnectionPumpTest, ASlotTakesTheNextRequestInTheDrainThatFreedIt) {
  addPath("/a");
  addPath("/b");
  while (completions.empty()) multi->updateConnection(0);
  EXPECT_EQ(faults.getCalls(CurlMultiFaults::F_AddHandle), 2);
}

TEST_F(HttpMultiConnectionPumpTest, APerformErrorIsLoggedAndCountsAsATurn) {
  addPath("/");
  faults.fail(CurlMultiFaults::F_Perform, CURLM_INTERNAL_ERROR, 3);
  multi->updateConnection(0);
  EXPECT_EQ(log.count(Error("Multi perform error 4")), 3u);
  EXPECT_EQ(faults.getCalls(CurlMultiFaults::F_Wait), 0);
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions[0].body, "/");
}

TEST_F(HttpMultiConnectionPumpTest, AHandleThatCannotBeAddedIsASetupError) {
  faults.fail(CurlMultiFaults::F_AddHandle, CURLM_OUT_OF_MEMORY, 1);
  addPath("/a");
  addPath("/b");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Fail to add easy handle to multihandle")));
  ASSERT_THAT(completions, SizeIs(2));
  EXPECT_EQ(completions[0].httpCode, -1);
  EXPECT_EQ(completions[0].errorText, "Setup error");
  EXPECT_EQ(completions[1].body, "/b");
}

TEST_F(HttpMultiConnectionPumpTest, AHandleThatCannotBeRemovedCompletesAllTheSame) {
  addPath("/a");
  addPath("/b");
  faults.fail(CurlMultiFaults::F_RemoveHandle, CURLM_BAD_EASY_HANDLE, 1);
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Fail to remove handle 2")));
  EXPECT_THAT(bodies(), ElementsAre("/a", "/b"));
}

TEST_F(HttpMultiConnectionPumpTest, AnUnknownHandleEndsTheDrainOfThePass) {
  CURL* const stranger = curl_easy_init();
  faults.announceDone(stranger);
  multi->updateConnection(0);
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Unknown easy handle")));
  EXPECT_EQ(faults.getCalls(CurlMultiFaults::F_InfoRead), 1);
  curl_easy_cleanup(stranger);
}

TEST_F(HttpMultiConnectionPumpTest, AnErrorOfTheLastCleanUpIsLogged) {
  faults.fail(CurlMultiFaults::F_Cleanup, CURLM_INTERNAL_ERROR, 1);
  multi.reset();
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Error (4) while releasing curl multi handle")));
}

TEST_F(HttpMultiConnectionPumpTest, AnOrdinaryEndLogsNothing) {
  addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  multi.reset();
  EXPECT_THAT(log.getLines(), IsEmpty());
}

}  // namespace
}  // namespace qx::test
