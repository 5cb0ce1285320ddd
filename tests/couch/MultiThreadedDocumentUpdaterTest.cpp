#include "netweft/couch/MultiThreadedDocumentUpdater.h"

#include "netweft/base/system/internal/Clock.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxThread.h"
#include "tests/couch/DocumentUpdaterFixture.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ThreadNames.h"

#include <gmock/gmock.h>

#include <future>
#include <stdexcept>

namespace qx::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Updater = couch::MultiThreadedDocumentUpdater;

class MultiThreadedDocumentUpdaterTest : public DocumentUpdaterFixture {
 protected:
  bool run(unsigned int threads = 1, unsigned int batchSize = 100) {
    const unique_ptr<Updater> updater = make(threads, batchSize);
    const bool result = updater->applyOnEntireDb(nullptr);
    EXPECT_TRUE(updater->waitForAllUpdate(nullptr));
    return result;
  }

  /// The one line on channel "couchdb".
  static CapturedLine summary(const LogCapture& log) {
    for (CapturedLine& line : log.getLines(LT_Detail)) {
      if (line.channel == "couchdb") return line;
    }
    return {};
  }

  void expectFailure(const string& reason) {
    const LogCapture log;
    const unique_ptr<Updater> updater = make();
    EXPECT_FALSE(updater->applyOnEntireDb(nullptr)) << reason;
    const string start = "MultiThreadedDocumentUpdater::applyOnEntireDb fail to retrieve ";
    EXPECT_THAT(log.getLines(LT_Error), ElementsAre(Error(start + reason)));
  }
};

TEST_F(MultiThreadedDocumentUpdaterTest, AnEmptyDatabaseEndsAtOnceAndShowsNoDocuments) {
  const LogCapture log;
  EXPECT_TRUE(run());
  EXPECT_EQ(server.getRequestCount(), 1u);
  EXPECT_THAT(summary(log).text, StartsWith("Update 0 doc(s) of db in "));
  EXPECT_THAT(summary(log).text, EndsWith(" (0 docs/sec)"));
}

TEST_F(MultiThreadedDocumentUpdaterTest, ADeletedDocumentIsNotQueuedButCountsForTheSequence) {
  lastSequence = "3";
  changes = {R"({"results":[{"seq":1,"id":"a"},{"seq":2,"id":"b","deleted":true}]})",
             R"({"results":[{"seq":3,"id":"c"}]})"};
  EXPECT_TRUE(run());
  EXPECT_EQ(server.getRequest(2).target, "/db/_changes?descending=false&since=2&limit=1");
  EXPECT_THAT(recorder.getSeen(), ElementsAre(R"({"_id":"a","_rev":"1-x"})", R"({"_id":"c","_rev":"1-x"})"));
}

TEST_F(MultiThreadedDocumentUpdaterTest, WaitingForTheSecondTimeIsFalse) {
  const unique_ptr<Updater> updater = make();
  EXPECT_TRUE(updater->waitForAllUpdate(nullptr));
  const LogCapture log;
  EXPECT_FALSE(updater->waitForAllUpdate(nullptr));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(MultiThreadedDocumentUpdaterTest, ThreadsAreSharedOutAndEachPoolHasOneAtLeast) {
  for (const auto& [threads, each] : {pair{0u, 1u}, pair{1u, 1u}, pair{3u, 1u}, pair{4u, 2u}, pair{7u, 3u}}) {
    const unique_ptr<Updater> updater = make(threads);
    while (CountThreadsNamed("nw-couch-get") < each || CountThreadsNamed("nw-couch-put") < each) qxThread::msleep(1);
    qxThread::msleep(20);
    EXPECT_EQ(CountThreadsNamed("nw-couch-get"), each) << threads;
    EXPECT_EQ(CountThreadsNamed("nw-couch-put"), each) << threads;
  }
}

TEST_F(MultiThreadedDocumentUpdaterTest, TheListingAsksForTheLastSequenceAndThenForTheChangesUpToIt) {
  have(2);
  EXPECT_TRUE(run());
  EXPECT_EQ(server.getRequest(0).line, "GET /db/_changes?descending=true&limit=1 HTTP/1.1");
  EXPECT_EQ(server.getRequest(1).line, "GET /db/_changes?descending=false&since=0&limit=2 HTTP/1.1");
}

TEST_F(MultiThreadedDocumentUpdaterTest, TheListingGoesInStepsOfTenThousandChanges) {
  lastSequence = "25000";
  changes = {R"({"results":[{"seq":10000,"id":"a"}]})", R"({"results":[{"seq":20000,"id":"b"}]})",
             R"({"results":[{"seq":25000,"id":"c"}]})"};
  EXPECT_TRUE(run());
  const vector<Request> requests = getRequests("GET /db/_changes?descending=false");
  ASSERT_THAT(requests, SizeIs(3));
  EXPECT_THAT(requests[0].target, EndsWith("since=0&limit=10000"));
  EXPECT_THAT(requests[1].target, EndsWith("since=10000&limit=10000"));
  EXPECT_THAT(requests[2].target, EndsWith("since=20000&limit=5000"));
}

TEST_F(MultiThreadedDocumentUpdaterTest, TheListingStopsAtTheSequenceOfItsStart) {
  lastSequence = "5";
  changes = {R"({"results":[{"seq":4,"id":"a"},{"seq":6,"id":"b"},{"seq":5,"id":"c"}]})"};
  EXPECT_TRUE(run());
  EXPECT_THAT(recorder.getSeen(), SizeIs(1));
  EXPECT_THAT(getRequests("GET "), SizeIs(2));
}

TEST_F(MultiThreadedDocumentUpdaterTest, AnAnswerWithoutResultsEndsTheListing) {
  for (const char* answer : {R"({"results":[]})", "{}", R"({"results":7})"}) {
    lastSequence = "5";
    changes.emplace_back(answer);
    EXPECT_TRUE(run()) << answer;
  }
  EXPECT_THAT(recorder.getSeen(), IsEmpty());
}

TEST_F(MultiThreadedDocumentUpdaterTest, TheSequenceCannotBeHad) {
  server.queue(Reply::Json(404, "{}"));
  expectFailure("current sequence number (http error)");
  server.queue(Reply::Json(200, "{"));
  expectFailure("current sequence number (http error)");
}

TEST_F(MultiThreadedDocumentUpdaterTest, TheSequenceIsMissingOrNegative) {
  server.queue(Reply::Json(200, "{}"));
  expectFailure("current sequence number (invalid last_seq)");
  server.queue(Reply::Json(200, R"({"last_seq":-7})"));
  expectFailure("current sequence number (invalid last_seq)");
}

TEST_F(MultiThreadedDocumentUpdaterTest, TheChangesCannotBeHad) {
  for (const auto& [status, body] : {pair{500, "{}"}, pair{200, "["}}) {
    server.queue(Reply::Json(200, R"({"last_seq":5})"));
    server.queue(Reply::Json(status, body));
    expectFailure("doc ids (http error)");
  }
}

TEST_F(MultiThreadedDocumentUpdaterTest, AMalformedChangeEndsTheListing) {
  for (const char* change : {"7", R"({"id":"a"})", R"({"seq":0,"id":"a"})", R"({"seq":1})", R"({"seq":1,"id":""})"}) {
    server.queue(Reply::Json(200, R"({"last_seq":5})"));
    server.queue(Reply::Json(200, R"({"results":[)" + string(change) + "]}"));
    expectFailure("doc ids (invalid result)");
  }
}

TEST_F(MultiThreadedDocumentUpdaterTest, WhatWasQueuedBeforeAFailureGoesOn) {
  lastSequence = "2";
  changes = {R"({"results":[{"seq":1,"id":"a"}]})", R"({"results":[7]})"};
  const LogCapture log;
  EXPECT_FALSE(run());
  EXPECT_THAT(recorder.getSeen(), SizeIs(1));
  EXPECT_THAT(getPostSizes(), ElementsAre(1));
}

TEST_F(MultiThreadedDocumentUpdaterTest, SequencesThatAreTextsLookLikeAnEmptyDatabase) {
  lastSequence = R"("12-g1AAAA")";
  EXPECT_TRUE(run());
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(MultiThreadedDocumentUpdaterTest, SequencesThatAreNumbersInTextsCount) {
  lastSequence = R"("1")";
  changes = {R"({"results":[{"seq":"1","id":"a"}]})"};
  EXPECT_TRUE(run());
  EXPECT_THAT(recorder.getSeen(), SizeIs(1));
}

TEST_F(MultiThreadedDocumentUpdaterTest, ARaisedFlagEndsTheListingWithoutAnError) {
  have(3);
  const unique_ptr<Updater> updater = make();
  const bool cancel = true;
  const LogCapture log;
  EXPECT_TRUE(updater->applyOnEntireDb(&cancel));
  EXPECT_EQ(server.getRequestCount(), 1u);
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
}

TEST_F(MultiThreadedDocumentUpdaterTest, AFullBatchHoldsOneDocumentMoreThanItsSize) {
  have(10);
  EXPECT_TRUE(run(1, 3));
  EXPECT_THAT(getPostSizes(), ElementsAre(4, 4, 2));
}

TEST_F(MultiThreadedDocumentUpdaterTest, ABatchOfJustItsSizeWaitsForTheEnd) {
  have(3);
  EXPECT_TRUE(run(1, 3));
  EXPECT_THAT(getPostSizes(), ElementsAre(3));
}

TEST_F(MultiThreadedDocumentUpdaterTest, AThreadThatWasUsedEndsWithAPostAlsoOfNothing) {
  have(5);
  recorder.update = [](qxVariantMapImpl&) { return false; };
  EXPECT_TRUE(run());
  ASSERT_THAT(getPosts(), SizeIs(1));
  EXPECT_EQ(getPosts()[0].body, R"({"docs":[]})");
}

TEST_F(MultiThreadedDocumentUpdaterTest, AThreadThatWasNotUsedPostsNothing) {
  have(1);
  EXPECT_TRUE(run(8));
  EXPECT_THAT(getPosts(), SizeIs(1));
}

TEST_F(MultiThreadedDocumentUpdaterTest, DocumentsAreReadAndWrittenWithTheirAttachments) {
  have(1);
  answerDocuments = [](const Request&) {
    return Reply::Json(200,
                       R"({"rows":[{"key":"a","doc":{"_id":"a","_rev":"1-x","_attachments":{"p":{"data":"AAA="}}}}]})");
  };
  EXPECT_TRUE(run());
  EXPECT_THAT(getRequests("POST /db/_all_docs?include_docs=true&attachments=true "), SizeIs(1));
  EXPECT_EQ(getPosts()[0].body,
            R"({"docs":[{"_attachments":{"p":{"data":"AAA="}},"_id":"a","_rev":"1-x","changed":true}]})");
}

TEST_F(MultiThreadedDocumentUpdaterTest, RowsThatFailedComeAsEmptyMaps) {
  have(2);
  answerDocuments = [](const Request&) {
    return Reply::Json(200,
                       R"({"rows":[{"key":"a","error":"not_found"},{"key":"b","value":{"deleted":true},"doc":null}]})");
  };
  EXPECT_TRUE(run());
  EXPECT_THAT(recorder.getSeen(), ElementsAre("{}", "{}"));
}

TEST_F(MultiThreadedDocumentUpdaterTest, DocumentsOfARequestThatFailedComeAsEmptyMaps) {
  have(3);
  answerDocuments = [](const Request&) { return Reply::Json(500, "{}"); };
  EXPECT_TRUE(run());
  EXPECT_THAT(recorder.getSeen(), ElementsAre("{}", "{}", "{}"));
}

TEST_F(MultiThreadedDocumentUpdaterTest, ACallbackThatWantsAnEmptyMapWrittenHasItWritten) {
  have(1);
  answerDocuments = [](const Request&) { return Reply::Json(500, "{}"); };
  recorder.update = [](qxVariantMapImpl&) { return true; };
  EXPECT_TRUE(run());
  EXPECT_EQ(getPosts()[0].body, R"({"docs":[{}]})");
}

TEST_F(MultiThreadedDocumentUpdaterTest, CreatingGetsTheUserDataAndDeletingTheUpdater) {
  have(3);
  Updater updater(couchServer, "db", UpdateRecorder::OnUpdate, UpdateRecorder::OnCreate, UpdateRecorder::OnDelete,
                  &recorder, 2, 100);
  EXPECT_TRUE(updater.applyOnEntireDb(nullptr));
  EXPECT_TRUE(updater.waitForAllUpdate(nullptr));
  EXPECT_EQ(recorder.created, 1);
  EXPECT_EQ(UpdateRecorder::sDeleted, 1);
  EXPECT_EQ(UpdateRecorder::sDeletedWith, &updater);
  EXPECT_EQ(UpdateRecorder::sDeletedData, &recorder.mark);
  EXPECT_THAT(recorder.getThreadData(), ElementsAre(&recorder.mark));
}

TEST_F(MultiThreadedDocumentUpdaterTest, EachOfThemMayBeNullByItself) {
  have(1);
  {
    Updater updater(couchServer, "db", UpdateRecorder::OnUpdate, UpdateRecorder::OnCreate, nullptr, &recorder, 2, 100);
    EXPECT_TRUE(updater.applyOnEntireDb(nullptr));
    EXPECT_TRUE(updater.waitForAllUpdate(nullptr));
  }
  EXPECT_EQ(recorder.created, 1);
  EXPECT_THAT(getPosts(), SizeIs(1));
}

TEST_F(MultiThreadedDocumentUpdaterTest, DeletingMayBeGivenAlone) {
  have(1);
  Updater updater(couchServer, "db", UpdateRecorder::OnUpdate, nullptr, UpdateRecorder::OnDelete, &recorder, 2, 100);
  EXPECT_TRUE(updater.applyOnEntireDb(nullptr));
  EXPECT_TRUE(updater.waitForAllUpdate(nullptr));
  EXPECT_EQ(UpdateRecorder::sDeleted, 1);
  EXPECT_EQ(UpdateRecorder::sDeletedData, nullptr);
}

TEST_F(MultiThreadedDocumentUpdaterTest, ACallbackThatThrowsIsLoggedAndItsDocumentLeft) {
  have(3);
  std::atomic<int> calls{0};
  recorder.update = [&](qxVariantMapImpl&) -> bool {
    if (calls++ == 1) throw std::runtime_error("no update");
    return true;
  };
  const LogCapture log;
  EXPECT_TRUE(run());
  EXPECT_TRUE(log.contains(LT_Error, "no update"));
  EXPECT_THAT(getPostSizes(), ElementsAre(2));
}

TEST_F(MultiThreadedDocumentUpdaterTest, TheLogCountsTheQueuedDocumentsAndTheirRateSinceTheConstruction) {
  have(7500);
  answerDocuments = [](const Request&) { return Reply::Json(200, "{}"); };
  const LogCapture log;
  const unique_ptr<Updater> updater = make(1, 10'000);
  impl::AdvanceClock(7'200'000);
  EXPECT_TRUE(updater->applyOnEntireDb(nullptr));
  EXPECT_TRUE(updater->waitForAllUpdate(nullptr));
  EXPECT_EQ(summary(log), Detail("couchdb", "Update 7500 doc(s) of db in 2h (1 docs/sec)"));
}

TEST_F(MultiThreadedDocumentUpdaterTest, AFailedPostEndsTheWritingAndNotTheReading) {
  have(10);
  server.setHandler([this](const Request& request) {
    return request.line.rfind("POST /db/_bulk_docs", 0) == 0 ? Reply::Json(500, "{}") : answer(request);
  });
  const LogCapture log;
  EXPECT_TRUE(run(1, 1));
  EXPECT_THAT(recorder.getSeen(), SizeIs(10));
  EXPECT_TRUE(log.contains(LT_Error, "_bulk_docs error "));
  EXPECT_LT(getPosts().size(), 5u);
}

TEST_F(MultiThreadedDocumentUpdaterTest, ASlowWriterHoldsBackTheReading) {
  have(40);
  const Gate gate;
  server.setHandler([this, gate](const Request& request) {
    if (request.line.rfind("POST /db/_bulk_docs", 0) != 0) return answer(request);
    return Reply().waitFor(gate).send(Reply::HttpText(201, "[]"));
  });
  const unique_ptr<Updater> updater = make(1, 1);
  EXPECT_TRUE(updater->applyOnEntireDb(nullptr));
  // One batch is in flight, one waits, one is in the producer's hands, each of two documents.
  EXPECT_TRUE(gate.waitForArrivals(1));
  while (recorder.getSeen().size() < 6) qxThread::msleep(1);
  qxThread::msleep(100);
  EXPECT_EQ(recorder.getSeen().size(), 6u);
  gate.open();
  EXPECT_TRUE(updater->waitForAllUpdate(nullptr));
  EXPECT_EQ(recorder.getSeen().size(), 40u);
}

TEST_F(MultiThreadedDocumentUpdaterTest, TheDestructorDropsWhatWasNotBegun) {
  have(50);
  const Gate gate;
  answerDocuments = [gate](const Request&) { return Reply().waitFor(gate).send(Reply::HttpText(200, "{}")); };
  unique_ptr<Updater> updater = make(1, 1);
  EXPECT_TRUE(updater->applyOnEntireDb(nullptr));
  EXPECT_TRUE(gate.waitForArrivals(1));
  std::future<void> end = std::async(std::launch::async, [&] { updater.reset(); });
  EXPECT_NE(end.wait_for(std::chrono::milliseconds(300)), std::future_status::ready);
  gate.open();
  end.get();
  EXPECT_THAT(getRequests("POST /db/_all_docs"), SizeIs(1));
}

TEST_F(MultiThreadedDocumentUpdaterTest, AfterTheEndNothingIsQueued) {
  have(3);
  const unique_ptr<Updater> updater = make();
  EXPECT_TRUE(updater->waitForAllUpdate(nullptr));
  EXPECT_TRUE(updater->applyOnEntireDb(nullptr));
  EXPECT_THAT(getRequests("POST "), IsEmpty());
}

TEST_F(MultiThreadedDocumentUpdaterTest, TheServersParametersAreCopied) {
  have(1);
  auto given = std::make_unique<couch::CouchConnectionParameters>(couchServer);
  Updater updater(*given, "db", UpdateRecorder::OnUpdate, nullptr, nullptr, &recorder, 1, 10);
  given.reset();
  EXPECT_TRUE(updater.applyOnEntireDb(nullptr));
  EXPECT_TRUE(updater.waitForAllUpdate(nullptr));
  EXPECT_THAT(recorder.getSeen(), SizeIs(1));
}

}  // namespace
}  // namespace qx::test
