#include "netweft/http/HttpMultiConnection.h"

#include "tests/http/MultiConnectionFixture.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <type_traits>

namespace qx::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

static_assert(!std::is_copy_constructible_v<http::HttpMultiConnection>);

const string kAbortedWrite = "Curl error 23 ";

class HttpMultiConnectionTest : public MultiConnectionFixture {};

TEST_F(HttpMultiConnectionTest, ARequestHasTheDefaultsOfItsRecord) {
  const Request request;
  EXPECT_EQ(request.url.toEncodedUrl(), "http://127.0.0.1:80");
  EXPECT_EQ(request.method, 0);
  EXPECT_TRUE(request.body.empty());
  EXPECT_EQ(request.userData, nullptr);
}

TEST_F(HttpMultiConnectionTest, ANewObjectHasNothingToDo) {
  EXPECT_TRUE(multi->isAllRequestsDone());
  multi->updateConnection(10);
  EXPECT_THAT(completions, IsEmpty());
}

TEST_F(HttpMultiConnectionTest, ARequestComesBackOnceWithItsAnswer) {
  addPath("/a");
  EXPECT_FALSE(multi->isAllRequestsDone());
  ASSERT_TRUE(pumpUntilDone());
  ASSERT_THAT(completions, SizeIs(1));
  EXPECT_EQ(completions[0].httpCode, 200);
  EXPECT_EQ(completions[0].errorText, "");
  EXPECT_EQ(completions[0].body, "/a");
  EXPECT_EQ(completions[0].userData, &completions);
}

TEST_F(HttpMultiConnectionTest, AddingTakesTheRequestOutOfThePointer) {
  auto request = std::make_unique<Request>();
  multi->addRequest(request);
  EXPECT_EQ(request, nullptr);
  multi->addRequest(request);
  multi->cancelRequests(true);
  EXPECT_TRUE(multi->isAllRequestsDone());
}

TEST_F(HttpMultiConnectionTest, NothingHappensBetweenPumps) {
  addPath("/");
  EXPECT_FALSE(server.waitForConnections(1, std::chrono::milliseconds(20)));
}

TEST_F(HttpMultiConnectionTest, NoStatusIsJudged) {
  server.queue(Reply::Http(500, "sorry"));
  addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions[0].httpCode, 500);
  EXPECT_EQ(completions[0].errorText, "");
  EXPECT_EQ(completions[0].body, "sorry");
}

TEST_F(HttpMultiConnectionTest, AFailedTransferSaysWhatLibcurlSays) {
  server.queue(Reply().close());
  addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  ASSERT_THAT(completions, SizeIs(1));
  EXPECT_EQ(completions[0].httpCode, -1);
  EXPECT_EQ(completions[0].errorText, "Curl error 52 Empty reply from server");
}

TEST_F(HttpMultiConnectionTest, ARefusedConnectionCompletesToo) {
  const RefusingPort port;
  add(port.getUrl());
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions[0].httpCode, -1);
  EXPECT_THAT(completions[0].errorText, StartsWith("Curl error 7 Failed to connect to 127.0.0.1 port "));
}

TEST_F(HttpMultiConnectionTest, AStatusThatDiedInItsBodyIsAFailure) {
  server.queue(Reply::Raw(Reply::HeadText(200, {{"Content-Length", "10"}}) + "abc").close());
  addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions[0].httpCode, -1);
  EXPECT_THAT(completions[0].errorText, StartsWith("Curl error 18 "));
  EXPECT_EQ(completions[0].body, "abc");
}

TEST_F(HttpMultiConnectionTest, AnErrorTextDoesNotOutliveItsRequest) {
  server.queue(Reply().close());
  addPath("/");
  addPath("/b");
  ASSERT_TRUE(pumpUntilDone());
  ASSERT_THAT(completions, SizeIs(2));
  EXPECT_EQ(completions[1].errorText, "");
  EXPECT_EQ(completions[1].body, "/b");
}

TEST_F(HttpMultiConnectionTest, TheLastOfRepeatedHeadersWins) {
  server.queue(Reply::Http(200, "", {{"X-Twice", "first"}, {"x-TWICE", " second "}, {"Empty", ""}}));
  addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  const qxVariantMapImpl& headers = completions[0].headers;
  EXPECT_EQ(headers.getString("x-twice", ""), "second");
  EXPECT_EQ(headers.find("x-twice")->second.getType(), qxVariant::VT_String);
  EXPECT_TRUE(headers.contains("empty"));
  EXPECT_TRUE(headers.contains("HTTP/1.1 200 OK"));
  EXPECT_FALSE(headers.contains(""));
}

TEST_F(HttpMultiConnectionTest, HeadersDoNotOutliveTheirResponse) {
  server.queue(Reply::Http(200, "", {{"X-Once", "1"}}));
  addPath("/");
  addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_TRUE(completions[0].headers.contains("x-once"));
  EXPECT_FALSE(completions[1].headers.contains("x-once"));
}

TEST_F(HttpMultiConnectionTest, ZeroAndNegativeCountsGiveOneSlot) {
  for (const int count : {0, -5}) {
    build(count);
    const uint64 before = server.getRequestCount();
    gate = Gate();
    server.queue(gated("a"));
    addPath("/a");
    addPath("/b");
    ASSERT_TRUE(pumpUntilRequests(before + 1));
    for (int i = 0; i < 5; ++i) multi->updateConnection(5);
    EXPECT_EQ(server.getRequestCount(), before + 1);
    gate.open();
    ASSERT_TRUE(pumpUntilDone());
    EXPECT_EQ(server.getRequestCount(), before + 2);
  }
}

TEST_F(HttpMultiConnectionTest, TenRequestsOnThreeSlotsRunThreeAtATime) {
  build(3);
  std::atomic<int> running = 0;
  std::atomic<int> most = 0;
  server.setHandler([&](const test::Request& request) {
    most = std::max(most.load(), ++running);
    return Reply().waitFor(gate).send(Reply::HttpText(200, request.target));
  });
  onCompletion = [&](vector<char>&) { --running; };
  for (int i = 0; i < 10; ++i) addPath("/" + std::to_string(i));
  ASSERT_TRUE(pumpUntilRequests(3));
  gate.open();
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(most, 3);
  vector<string> got = bodies();
  std::sort(got.begin(), got.end());
  EXPECT_THAT(got, ElementsAre("/0", "/1", "/2", "/3", "/4", "/5", "/6", "/7", "/8", "/9"));
  EXPECT_EQ(server.getAcceptedConnections(), 3u);
}

TEST_F(HttpMultiConnectionTest, RequestsLeaveInTheirOrder) {
  for (int i = 0; i < 5; ++i) addPath("/" + std::to_string(i));
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_THAT(bodies(), ElementsAre("/0", "/1", "/2", "/3", "/4"));
}

TEST_F(HttpMultiConnectionTest, OneSlotKeepsOneTcpConnection) {
  for (int i = 0; i < 5; ++i) addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(HttpMultiConnectionTest, ANullCallbackLetsRequestsEndUnseen) {
  multi->setCallback(nullptr, nullptr);
  addPath("/");
  addPath("/", 7);
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_THAT(completions, IsEmpty());
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(HttpMultiConnectionTest, AnUnknownMethodIsASetupErrorWithoutALogLine) {
  for (const int32 method : {7, 5, -1}) addPath("/", method);
  ASSERT_TRUE(pumpUntilDone());
  ASSERT_THAT(completions, SizeIs(3));
  for (const Completion& completion : completions) {
    EXPECT_EQ(completion.httpCode, -1);
    EXPECT_EQ(completion.errorText, "Setup error");
    EXPECT_EQ(completion.body, "");
    EXPECT_TRUE(completion.headers.empty());
    EXPECT_EQ(completion.userData, &completions);
  }
  EXPECT_THAT(log.getLines(), IsEmpty());
  EXPECT_EQ(server.getAcceptedConnections(), 0u);
}

TEST_F(HttpMultiConnectionTest, TheSlotOfASetupErrorStaysFreeUntilTheNextPass) {
  addPath("/", 7);
  addPath("/b");
  multi->updateConnection(0);
  EXPECT_THAT(completions, SizeIs(1));
  EXPECT_EQ(faults.getCalls(CurlMultiFaults::F_AddHandle), 0);
  multi->updateConnection(0);
  EXPECT_EQ(faults.getCalls(CurlMultiFaults::F_AddHandle), 1);
}

TEST_F(HttpMultiConnectionTest, ContentKeepsItsCapacityBetweenRequests) {
  addPath("/small");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions.back().capacity, 262144u);

  server.queue(Reply::Http(200, string(3 << 20, 'x')));
  addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions.back().body.size(), 3u << 20);
  EXPECT_GT(completions.back().capacity, 262144u);

  addPath("/small");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions.back().capacity, 262144u);
  EXPECT_EQ(completions.back().body, "/small");
}

TEST_F(HttpMultiConnectionTest, TheCallbackMayTakeTheBytes) {
  vector<char> taken;
  onCompletion = [&](vector<char>& content) { taken.swap(content); };
  addPath("/one");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(string(taken.begin(), taken.end()), "/one");
  onCompletion = nullptr;
  addPath("/two");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions.back().body, "/two");
  EXPECT_EQ(completions.back().capacity, 262144u);
}

TEST_F(HttpMultiConnectionTest, ABodyOfManyPiecesIsJoined) {
  server.queue(Reply().sendInPieces(Reply::HttpText(200, "0123456789", {{"X-Key", "value"}}), 1));
  addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions[0].body, "0123456789");
  EXPECT_EQ(completions[0].headers.getString("x-key", ""), "value");
}

TEST_F(HttpMultiConnectionTest, CommonHeadersMayRepeat) {
  multi->setCommonHeaders({"A: 1"});
  multi->addCommonHeader("A: 1");
  EXPECT_THAT(multi->getCommonHeaders(), ElementsAre("A: 1", "A: 1"));
}

TEST_F(HttpMultiConnectionTest, ParametersAreKept) {
  EXPECT_EQ(multi->getConnectionParameters().connectTimeoutSec, 10);
  http::ConnectionParameters parameters;
  parameters.maxRedirects = 7;
  multi->setConnectionParameters(parameters);
  multi->editConnectionParameters().connectTimeoutSec = 3;
  EXPECT_EQ(multi->getConnectionParameters().maxRedirects, 7);
  EXPECT_EQ(multi->getConnectionParameters().connectTimeoutSec, 3);
}

TEST_F(HttpMultiConnectionTest, TheCallbackMayAddRequests) {
  onCompletion = [this](vector<char>&) {
    if (completions.size() < 4) addPath("/" + std::to_string(completions.size()));
  };
  addPath("/0");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_THAT(bodies(), ElementsAre("/0", "/1", "/2", "/3"));
}

TEST_F(HttpMultiConnectionTest, TheCallbackMayCancelTheQueue) {
  onCompletion = [this](vector<char>&) { multi->cancelRequests(true); };
  for (int i = 0; i < 5; ++i) addPath("/" + std::to_string(i));
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_THAT(bodies(), ElementsAre("/0"));
}

TEST_F(HttpMultiConnectionTest, TheCallbackMayCancelWhatRuns) {
  build(2);
  server.setHandler([this](const test::Request& request) {
    return request.target == "/held" ? gated("held") : Reply::Http(200, request.target);
  });
  onCompletion = [this](vector<char>&) {
    multi->cancelRequests(false);
    gate.open();
  };
  addPath("/held");
  ASSERT_TRUE(pumpUntilRequests(1));
  addPath("/a");
  addPath("/queued");
  ASSERT_TRUE(pumpUntilDone());
  ASSERT_THAT(completions, SizeIs(2));
  EXPECT_EQ(completions[0].body, "/a");
  EXPECT_EQ(completions[1].httpCode, -1);
  EXPECT_THAT(completions[1].errorText, StartsWith(kAbortedWrite));
}

TEST_F(HttpMultiConnectionTest, TheRequestOfTheCallbackIsNotDoneYet) {
  bool isDone = true;
  onCompletion = [&](vector<char>&) { isDone = multi->isAllRequestsDone(); };
  addPath("/");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_FALSE(isDone);
}

TEST_F(HttpMultiConnectionTest, APumpInsideTheCallbackDoesNothing) {
  onCompletion = [this](vector<char>&) {
    faults.clearCalls();
    multi->updateConnection(1000);
    EXPECT_EQ(faults.getCalls(CurlMultiFaults::F_Perform), 0);
  };
  addPath("/a");
  addPath("/b");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_THAT(bodies(), ElementsAre("/a", "/b"));
}

TEST_F(HttpMultiConnectionTest, AnExceptionOfTheCallbackReachesWhoPumpsAndFreesTheSlot) {
  onCompletion = [this](vector<char>&) {
    if (completions.size() == 1) throw std::runtime_error("mine");
  };
  addPath("/a");
  addPath("/b");
  EXPECT_THROW((void)pumpUntilDone(), std::runtime_error);
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_THAT(bodies(), ElementsAre("/a", "/b"));
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(HttpMultiConnectionTest, AnExceptionAboutASetupErrorFreesTheSlotToo) {
  onCompletion = [this](vector<char>&) {
    if (completions.size() == 1) throw std::runtime_error("mine");
  };
  addPath("/", 7);
  addPath("/b");
  EXPECT_THROW(multi->updateConnection(0), std::runtime_error);
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions.back().body, "/b");
}

TEST_F(HttpMultiConnectionTest, DroppedQueuedRequestsGetNoCompletion) {
  for (int i = 0; i < 3; ++i) addPath("/");
  multi->cancelRequests(true);
  EXPECT_TRUE(multi->isAllRequestsDone());
  multi->updateConnection(10);
  EXPECT_THAT(completions, IsEmpty());
  EXPECT_EQ(server.getAcceptedConnections(), 0u);
}

TEST_F(HttpMultiConnectionTest, CancellingTheQueueLeavesRunningTransfersAlone) {
  server.queue(gated("held"));
  addPath("/held");
  addPath("/queued");
  ASSERT_TRUE(pumpUntilRequests(1));
  multi->cancelRequests(true);
  gate.open();
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_THAT(bodies(), ElementsAre("held"));
  EXPECT_EQ(completions[0].httpCode, 200);
}

TEST_F(HttpMultiConnectionTest, CancellingAnIdleObjectDoesNotTouchTheNextRequest) {
  multi->cancelRequests(false);
  addPath("/a");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions[0].httpCode, 200);
}

TEST_F(HttpMultiConnectionTest, ACancelReachesATransferAtItsNextHeader) {
  server.queue(Reply().waitFor(gate).send(Reply::HttpText(200, "late")));
  addPath("/");
  ASSERT_TRUE(pumpUntilRequests(1));
  multi->cancelRequests(false);
  multi->updateConnection(10);
  EXPECT_THAT(completions, IsEmpty());  // nothing moved
  gate.open();
  ASSERT_TRUE(pumpUntilDone());
  ASSERT_THAT(completions, SizeIs(1));
  EXPECT_EQ(completions[0].httpCode, -1);
  EXPECT_THAT(completions[0].errorText, StartsWith(kAbortedWrite));
  EXPECT_EQ(completions[0].headers.size(), 1u);
  EXPECT_EQ(completions[0].body, "");
}

TEST_F(HttpMultiConnectionTest, ACancelReachesATransferAtTheNextPieceOfItsBody) {
  server.queue(Reply::Raw(Reply::HeadText(200, {{"Content-Length", "6"}}) + "abc").waitFor(gate).send("def"));
  addPath("/");
  ASSERT_TRUE(pumpUntilGated());
  multi->updateConnection(20);
  multi->cancelRequests(false);
  gate.open();
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions[0].httpCode, -1);
  EXPECT_THAT(completions[0].errorText, StartsWith(kAbortedWrite));
}

TEST_F(HttpMultiConnectionTest, ACancelReachesATransferAtTheNextPieceThatItSends) {
  multi->editConnectionParameters().maxSendSpeed = 100000;
  addPath("/", HttpMultiConnection::M_Post, string(1000000, 'x'));
  ASSERT_TRUE(pumpUntil([this] { return server.getRawBytes(0).find("\r\n\r\nxxx") != string::npos; }));
  multi->cancelRequests(false);
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions[0].httpCode, -1);
  EXPECT_EQ(completions[0].errorText, "Curl error 42 operation aborted by callback");
  EXPECT_EQ(server.getRequestCount(), 0u);
}

TEST_F(HttpMultiConnectionTest, ASlotIsFreshAfterACancel) {
  server.queue(gated("held"));
  addPath("/");
  ASSERT_TRUE(pumpUntilRequests(1));
  multi->cancelRequests(false);
  gate.open();
  addPath("/next");
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions.back().body, "/next");
  EXPECT_EQ(completions.back().httpCode, 200);
}

TEST_F(HttpMultiConnectionTest, TheDestructorDropsWhatRunsWithoutACompletion) {
  build(2);
  server.queue(Reply::Silent());
  server.queue(gated("held"));
  for (int i = 0; i < 3; ++i) addPath("/");
  ASSERT_TRUE(pumpUntilRequests(2));
  ASSERT_TRUE(pumpUntilGated());
  multi.reset();
  EXPECT_TRUE(server.waitForOpenConnections(0));
  EXPECT_THAT(completions, IsEmpty());
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(HttpMultiConnectionTest, ASilentServerEndsByTheStallLimitsAlone) {
  multi->editConnectionParameters().lowSpeedTimeSec = 1;
  server.queue(Reply::Silent());
  addPath("/");
  ASSERT_TRUE(pumpUntilRequests(1));
  multi->cancelRequests(false);
  ASSERT_TRUE(pumpUntilDone());
  EXPECT_EQ(completions[0].httpCode, -1);
  EXPECT_THAT(completions[0].errorText, StartsWith("Curl error 28 "));
}

}  // namespace
}  // namespace qx::test
