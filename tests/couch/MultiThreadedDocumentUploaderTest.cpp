#include "netweft/couch/MultiThreadedDocumentUploader.h"

#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxThread.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/CpuTime.h"
#include "tests/support/CurlTrace.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace qx::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Uploader = couch::MultiThreadedDocumentUploader;

Reply Created() { return Reply::Json(201, "[]"); }
Reply AfterGate(const Gate& gate, int status = 201) {
  return Reply().waitFor(gate).send(Reply::HttpText(status, "[]"));
}

class MultiThreadedDocumentUploaderTest : public LibraryFixture {
 protected:
  static bool send(Uploader& uploader, string batch) { return uploader.sendBatch(batch); }
  std::future<bool> sendAside(Uploader& uploader, string batch) {
    return std::async(std::launch::async,
                      [&uploader, text = std::move(batch)]() mutable { return uploader.sendBatch(text); });
  }
  static bool isBlocked(const std::future<bool>& call) {
    return call.wait_for(milliseconds(100)) != std::future_status::ready;
  }

  /// One thread with a post in flight that stands at the gate, and a batch that waits.
  void fill(Uploader& uploader, int status = 201) {
    server.queue(AfterGate(gate, status));
    EXPECT_TRUE(send(uploader, "first"));
    EXPECT_TRUE(gate.waitForArrivals(1));
    EXPECT_TRUE(send(uploader, "second"));
  }

  Gate gate;
  ScriptedServer server{[](const Request&) { return Created(); }};
  couch::CouchConnectionParameters couchServer = Url(server.getUrl(""));
};

TEST_F(MultiThreadedDocumentUploaderTest, ABatchIsPostedAsItStands) {
  Uploader uploader(couchServer, "d/b", 1);
  EXPECT_TRUE(send(uploader, R"({"docs":[{"_id":"a"}]})"));
  EXPECT_TRUE(uploader.waitForEnd(nullptr));
  const Request request = server.getRequest(0);
  EXPECT_EQ(request.line, "POST /d%2Fb/_bulk_docs HTTP/1.1");
  EXPECT_EQ(request.body, R"({"docs":[{"_id":"a"}]})");
  EXPECT_EQ(request.getHeader("Content-Type"), "application/json");
}

TEST_F(MultiThreadedDocumentUploaderTest, TheArgumentComesBackEmpty) {
  Uploader uploader(couchServer, "db", 1);
  for (string batch : {"first", "second", "third"}) {
    EXPECT_TRUE(uploader.sendBatch(batch));
    EXPECT_EQ(batch, "");
  }
}

TEST_F(MultiThreadedDocumentUploaderTest, ThreadCountZeroStartsOneThread) {
  Uploader uploader(couchServer, "db", 0);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(send(uploader, "batch"));
  EXPECT_TRUE(uploader.waitForEnd(nullptr));
  EXPECT_EQ(server.getRequestCount(), 5u);
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(MultiThreadedDocumentUploaderTest, AnEmptyTextTakesNoSlotAndIsNotPosted) {
  Uploader uploader(couchServer, "db", 1);
  EXPECT_TRUE(send(uploader, ""));
  EXPECT_TRUE(send(uploader, ""));
  EXPECT_TRUE(uploader.waitForEnd(nullptr));
  EXPECT_TRUE(send(uploader, "batch"));
  EXPECT_TRUE(uploader.waitForEnd(nullptr));
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(MultiThreadedDocumentUploaderTest, WaitingWithNothingSentIsTrueAtOnce) {
  Uploader uploader(couchServer, "db", 3);
  EXPECT_TRUE(uploader.waitForEnd(nullptr));
  EXPECT_EQ(server.getAcceptedConnections(), 0u);
}

TEST_F(MultiThreadedDocumentUploaderTest, ARaisedFlagDropsTheWaitingBatchAndWaitsForTheRunningPost) {
  Uploader uploader(couchServer, "db", 1);
  fill(uploader);
  bool cancel = true;
  std::future<bool> end = std::async(std::launch::async, [&] { return uploader.waitForEnd(&cancel); });
  EXPECT_TRUE(send(uploader, ""));  // comes through when the slot is free
  EXPECT_TRUE(isBlocked(end));
  gate.open();
  EXPECT_TRUE(end.get());
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(MultiThreadedDocumentUploaderTest, AFlagRaisedLaterIsSeen) {
  Uploader uploader(couchServer, "db", 1);
  fill(uploader);
  bool cancel = false;
  std::future<bool> end = std::async(std::launch::async, [&] { return uploader.waitForEnd(&cancel); });
  EXPECT_TRUE(isBlocked(end));
  StoreFlag(cancel, true);
  std::future<bool> third = sendAside(uploader, "third");  // gets the room of the dropped one
  EXPECT_TRUE(third.get());
  gate.open();
  end.get();
  EXPECT_EQ(server.getRequest(0).body, "first");
  for (const Request& request : server.getRequests()) EXPECT_NE(request.body, "second");
}

TEST_F(MultiThreadedDocumentUploaderTest, ADroppedBatchLetsABlockedProducerInWhileThePostStillRuns) {
  Uploader uploader(couchServer, "db", 1);
  fill(uploader);
  std::future<bool> third = sendAside(uploader, "third");
  EXPECT_TRUE(isBlocked(third));
  bool cancel = true;
  std::future<bool> end = std::async(std::launch::async, [&] { return uploader.waitForEnd(&cancel); });
  EXPECT_TRUE(third.get());
  EXPECT_FALSE(gate.isOpen());
  gate.open();
  end.get();
}

TEST_F(MultiThreadedDocumentUploaderTest, AFailedPostWakesABlockedProducerAndLeavesItItsBatch) {
  Uploader uploader(couchServer, "db", 1);
  fill(uploader, 500);
  string third = "third";
  std::future<bool> call = std::async(std::launch::async, [&] { return uploader.sendBatch(third); });
  EXPECT_TRUE(isBlocked(call));
  gate.open();
  EXPECT_FALSE(call.get());
  EXPECT_EQ(third, "third");
}

TEST_F(MultiThreadedDocumentUploaderTest, AfterAFailureEveryBatchIsRefusedAndTheWaitingOneIsStillPosted) {
  Uploader uploader(couchServer, "db", 1);
  fill(uploader, 500);
  gate.open();
  EXPECT_FALSE(uploader.waitForEnd(nullptr));
  EXPECT_EQ(server.getRequest(1).body, "second");
  string third = "third";
  EXPECT_FALSE(uploader.sendBatch(third));
  EXPECT_EQ(third, "third");
  EXPECT_FALSE(uploader.waitForEnd(nullptr));
  EXPECT_EQ(server.getRequestCount(), 2u);
}

TEST_F(MultiThreadedDocumentUploaderTest, AFailureIsLoggedOnceAndNotTriedAgain) {
  const LogCapture log;
  Uploader uploader(couchServer, "db", 1);
  server.queue(Reply::Json(503, "{}"));
  EXPECT_TRUE(send(uploader, "batch"));
  EXPECT_FALSE(uploader.waitForEnd(nullptr));
  EXPECT_EQ(server.getRequestCount(), 1u);
  const vector<CapturedLine> errors = log.getLines(LT_Error);
  ASSERT_THAT(errors, SizeIs(1));
  EXPECT_THAT(errors[0].text, StartsWith("_bulk_docs error "));
  EXPECT_THAT(errors[0].text, HasSubstr("got 503, expect 201"));
  EXPECT_EQ(errors[0].channel, "");
}

TEST_F(MultiThreadedDocumentUploaderTest, AServerThatIsNotThereIsAFailure) {
  const RefusingPort port;
  const couch::CouchConnectionParameters nobody = Url(port.getUrl(""));
  const LogCapture log;
  Uploader uploader(nobody, "db", 2);
  EXPECT_TRUE(send(uploader, "batch"));
  EXPECT_FALSE(uploader.waitForEnd(nullptr));
  EXPECT_TRUE(log.contains(LT_Error, "_bulk_docs error "));
}

TEST_F(MultiThreadedDocumentUploaderTest, Only201IsASuccess) {
  for (const int status : {200, 202, 409}) {
    const LogCapture log;
    Uploader uploader(couchServer, "db", 1);
    server.queue(Reply::Json(status, "[]"));
    EXPECT_TRUE(send(uploader, "batch"));
    EXPECT_FALSE(uploader.waitForEnd(nullptr)) << status;
  }
}

TEST_F(MultiThreadedDocumentUploaderTest, WhatTheServerSaysOfSingleDocumentsIsNotRead) {
  const LogCapture log;
  Uploader uploader(couchServer, "db", 1);
  server.queue(Reply::Json(201, R"([{"id":"a","error":"conflict"},{"id":"b","error":"forbidden"}])"));
  EXPECT_TRUE(send(uploader, "batch"));
  EXPECT_TRUE(uploader.waitForEnd(nullptr));
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
}

TEST_F(MultiThreadedDocumentUploaderTest, AStandingServerHoldsTheProducersWithOneBatchPerThreadAndOneMore) {
  server.setHandler([this](const Request&) { return AfterGate(gate); });
  Uploader uploader(couchServer, "db", 3);
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(send(uploader, "batch"));
  std::future<bool> fifth = sendAside(uploader, "fifth");
  std::future<bool> sixth = sendAside(uploader, "sixth");
  EXPECT_TRUE(server.waitForRequests(3));
  EXPECT_TRUE(isBlocked(fifth));
  EXPECT_TRUE(isBlocked(sixth));
  EXPECT_EQ(server.getRequestCount(), 3u);
  gate.open();
  EXPECT_TRUE(fifth.get());
  EXPECT_TRUE(sixth.get());
  EXPECT_TRUE(uploader.waitForEnd(nullptr));
  EXPECT_EQ(server.getRequestCount(), 6u);
}

TEST_F(MultiThreadedDocumentUploaderTest, ManyProducersGetEveryBatchThroughOnce) {
  constexpr int producers = 8;
  constexpr int batches = 25;
  Uploader uploader(couchServer, "db", 2);
  vector<std::thread> threads;
  for (int producer = 0; producer < producers; ++producer) {
    threads.emplace_back([&uploader, producer] {
      for (int i = 0; i < batches; ++i) {
        EXPECT_TRUE(send(uploader, std::to_string(producer) + "/" + std::to_string(i)));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(uploader.waitForEnd(nullptr));
  set<string> bodies;
  for (const Request& request : server.getRequests()) bodies.insert(request.body);
  EXPECT_THAT(bodies, SizeIs(producers * batches));
  EXPECT_EQ(server.getRequestCount(), static_cast<uint64>(producers * batches));
}

TEST_F(MultiThreadedDocumentUploaderTest, TheDestructorDropsTheWaitingBatchAndWaitsForTheRunningPost) {
  auto uploader = std::make_unique<Uploader>(couchServer, "db", 1);
  fill(*uploader);
  std::future<void> end = std::async(std::launch::async, [&] { uploader.reset(); });
  EXPECT_NE(end.wait_for(milliseconds(100)), std::future_status::ready);
  gate.open();
  end.get();
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(MultiThreadedDocumentUploaderTest, ConnectingIsLimitedAndPostingIsNot) {
  const CurlTrace trace;
  Uploader uploader(couchServer, "db", 1);
  EXPECT_TRUE(send(uploader, "batch"));
  EXPECT_TRUE(uploader.waitForEnd(nullptr));
  EXPECT_THAT(trace.getValues("CONNECTTIMEOUT"), Each("30"));
  EXPECT_THAT(trace.getValues("LOW_SPEED_LIMIT"), Each("0"));
  EXPECT_THAT(trace.getValues("LOW_SPEED_TIME"), Each("0"));
}

TEST_F(MultiThreadedDocumentUploaderTest, IdleThreadsUseNoTime) {
  Uploader uploader(couchServer, "db", 8);
  EXPECT_TRUE(send(uploader, "batch"));
  EXPECT_TRUE(uploader.waitForEnd(nullptr));
  const int64 before = ProcessCpuMs();
  qxThread::msleep(500);
  EXPECT_LT(ProcessCpuMs() - before, 100);
}

TEST_F(MultiThreadedDocumentUploaderTest, TwoCancelledWaitsDoNotKeepEachOtherAwake) {
  Uploader uploader(couchServer, "db", 1);
  fill(uploader);
  bool cancel = true;
  std::future<bool> one = std::async(std::launch::async, [&] { return uploader.waitForEnd(&cancel); });
  std::future<bool> other = std::async(std::launch::async, [&] { return uploader.waitForEnd(&cancel); });
  qxThread::msleep(100);
  const int64 before = ProcessCpuMs();
  qxThread::msleep(500);
  EXPECT_LT(ProcessCpuMs() - before, 100);
  gate.open();
  EXPECT_TRUE(one.get());
  EXPECT_TRUE(other.get());
}

}  // namespace
}  // namespace qx::test
