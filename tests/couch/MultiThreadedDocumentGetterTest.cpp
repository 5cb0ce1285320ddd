#include "netweft/couch/MultiThreadedDocumentGetter.h"

#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxThread.h"
#include "tests/couch/DocumentGetterFixture.h"
#include "tests/support/CurlTrace.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

#include <time.h>

#include <future>
#include <stdexcept>

namespace qx::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using Getter = couch::MultiThreadedDocumentGetter;
using Delivery = DeliveryRecorder::Delivery;

class MultiThreadedDocumentGetterTest : public DocumentGetterFixture {};

TEST_F(MultiThreadedDocumentGetterTest, DocumentsAreAskedForInOnePost) {
  EXPECT_TRUE(fetch({"b", "a\"", "\xC3\xA9"}));
  const Request request = server.getRequest(0);
  EXPECT_EQ(request.line, "POST /db/_all_docs?include_docs=true HTTP/1.1");
  EXPECT_EQ(request.body, "{\"keys\":[\"a\\\"\",\"b\",\"\xC3\xA9\"]}");
  EXPECT_TRUE(request.hasHeaderLine("Content-Type: application/json"));
  EXPECT_EQ(request.countHeaders("Content-Type"), 1u);
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(MultiThreadedDocumentGetterTest, IdsAndRevisionsAreAskedForWithoutAQuery) {
  EXPECT_TRUE(fetch({"a"}, 1, 100, Getter::DC_IdAndRev));
  EXPECT_EQ(server.getRequest(0).line, "POST /db/_all_docs HTTP/1.1");
  EXPECT_THAT(recorder.getDeliveries(), ElementsAre(Field(&Delivery::doc, R"({"_id":"a","_rev":"1-x"})")));
}

TEST_F(MultiThreadedDocumentGetterTest, AttachmentsAreAskedForBesideTheDocument) {
  EXPECT_TRUE(fetch({"a"}, 1, 100, Getter::DC_DocumentWithAttachments));
  EXPECT_EQ(server.getRequest(0).line, "POST /db/_all_docs?include_docs=true&attachments=true HTTP/1.1");
}

TEST_F(MultiThreadedDocumentGetterTest, TheDatabaseTravelsEscaped) {
  Getter getter(couchServer, "a/b +c", DeliveryRecorder::OnDocument, &recorder, nullptr, nullptr, 1, 1,
                Getter::DC_IdAndRev);
  getter.addJobs({"a"});
  EXPECT_TRUE(getter.waitUntilAllJobsAreDone(nullptr));
  EXPECT_EQ(server.getRequest(0).target, "/a%2Fb%20%2Bc/_all_docs");
}

TEST_F(MultiThreadedDocumentGetterTest, TheRequestSetsItsOptionsInOrder) {
  const CurlTrace trace;
  EXPECT_TRUE(fetch({"a"}));
  const vector<string> texts = trace.getTexts();
  const vector<string> expected = {"WRITEFUNCTION set", "READFUNCTION set", "XFERINFOFUNCTION set", "POST 1",
                                   "POSTFIELDSIZE 14"};
  EXPECT_NE(std::search(texts.begin(), texts.end(), expected.begin(), expected.end()), texts.end());
  EXPECT_THAT(texts, IsSupersetOf({"CONNECTTIMEOUT 30", "LOW_SPEED_LIMIT 10", "LOW_SPEED_TIME 1200"}));
}

TEST_F(MultiThreadedDocumentGetterTest, AFoundDocumentComesWithItsContent) {
  EXPECT_TRUE(fetch({"a"}));
  EXPECT_THAT(recorder.getDeliveries(),
              ElementsAre(AllOf(Field(&Delivery::id, "a"), Field(&Delivery::doc, R"({"_id":"a","_rev":"1-x"})"),
                                Field(&Delivery::error, ""), Field(&Delivery::result, Getter::DR_Found),
                                Field(&Delivery::threadData, nullptr))));
}

TEST_F(MultiThreadedDocumentGetterTest, AnUnknownIdComesWithTheServersWord) {
  server.queue(Reply::Json(200, R"({"rows":[{"key":"a","error":"not_found"}]})"));
  EXPECT_TRUE(fetch({"a"}));
  EXPECT_THAT(recorder.getDeliveries(), ElementsAre(AllOf(Field(&Delivery::id, "a"), Field(&Delivery::doc, "{}"),
                                                          Field(&Delivery::error, "not_found"),
                                                          Field(&Delivery::result, Getter::DR_DocumentError))));
}

TEST_F(MultiThreadedDocumentGetterTest, AFailedRequestIsToldForEachIdInOrderAndIsNotTriedAgain) {
  const LogCapture log;
  server.queue(Reply::Json(503, "{}"));
  EXPECT_TRUE(fetch({"b", "a"}));
  const string error = "bad html response code, got 503, expect 200";
  const auto failed = [&](const char* id) {
    return AllOf(Field(&Delivery::id, id), Field(&Delivery::doc, "{}"), Field(&Delivery::error, HasSubstr(error)),
                 Field(&Delivery::result, Getter::DR_RequestFailed));
  };
  EXPECT_THAT(recorder.getDeliveries(), ElementsAre(failed("a"), failed("b")));
  EXPECT_EQ(server.getRequestCount(), 1u);
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
  EXPECT_THAT(log.getLines(LT_Warning), IsEmpty());
}

TEST_F(MultiThreadedDocumentGetterTest, AThreadGoesOnAfterAFailedRequest) {
  server.queue(Reply::Json(500, "{}"));
  EXPECT_TRUE(fetch({"a", "b"}, 1, 1));
  EXPECT_THAT(recorder.getDeliveries(), ElementsAre(Field(&Delivery::result, Getter::DR_RequestFailed),
                                                    Field(&Delivery::result, Getter::DR_Found)));
}

TEST_F(MultiThreadedDocumentGetterTest, AnAnswerThatIsNoJsonIsSilentAndDone) {
  const LogCapture log;
  for (const char* body : {"", "<html>", R"({"rows":[{"key":"a","doc":{}},)", "[]", "{}", R"({"rows":7})"}) {
    server.queue(Reply::Json(200, body));
    EXPECT_TRUE(fetch({"a"})) << body;
  }
  EXPECT_THAT(recorder.getDeliveries(), IsEmpty());
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
}

TEST_F(MultiThreadedDocumentGetterTest, BatchesAreTakenInOrderUpToTheirSize) {
  EXPECT_TRUE(fetch({"e", "d", "c", "b", "a"}, 1, 2));
  EXPECT_THAT(KeysOf(server.getRequest(0)), ElementsAre("a", "b"));
  EXPECT_THAT(KeysOf(server.getRequest(1)), ElementsAre("c", "d"));
  EXPECT_THAT(KeysOf(server.getRequest(2)), ElementsAre("e"));
}

TEST_F(MultiThreadedDocumentGetterTest, OneConnectionServesAllRequestsOfAThread) {
  EXPECT_TRUE(fetch(MakeIds(20), 1, 1));
  EXPECT_EQ(server.getRequestCount(), 20u);
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(MultiThreadedDocumentGetterTest, EveryIdIsCalledBackOnceWhateverThreadsAndBatches) {
  const vector<string> ids = MakeIds(300);
  for (const unsigned int threads : {1u, 2u, 8u}) {
    for (const unsigned int batchSize : {1u, 7u, 1000u}) {
      const uint64 before = recorder.size();
      EXPECT_TRUE(fetch(ids, threads, batchSize));
      vector<string> seen;
      for (const Delivery& delivery : recorder.getDeliveries()) seen.push_back(delivery.id);
      seen.erase(seen.begin(), seen.begin() + static_cast<std::ptrdiff_t>(before));
      std::sort(seen.begin(), seen.end());
      EXPECT_EQ(seen, ids) << threads << " threads, batches of " << batchSize;
    }
  }
}

TEST_F(MultiThreadedDocumentGetterTest, NoThreadsMeansOne) {
  const Gate gate;
  server.setHandler([&](const Request& request) {
    Reply reply = Reply::Raw("").waitFor(gate);
    reply.send(Reply::HttpText(200, R"({"rows":[{"key":")" + KeysOf(request).at(0) + R"("}]})"));
    return reply;
  });
  const unique_ptr<Getter> getter = make(0, 1);
  getter->addJobs({"a", "b"});
  ASSERT_TRUE(gate.waitForArrivals(1));
  EXPECT_FALSE(server.waitForRequests(2, std::chrono::milliseconds(200)));
  gate.open();
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(MultiThreadedDocumentGetterTest, ThreadsCallBackAtTheSameTime) {
  const Gate gate;
  recorder.onDocument = [&](Getter&, const string&) {
    gate.arrive([] {});
    EXPECT_TRUE(gate.waitForArrivals(2));
  };
  EXPECT_TRUE(fetch({"a", "b"}, 2, 1));
}

/// The first request waits at the gate; the others are answered at once.
class BusyGetterTest : public MultiThreadedDocumentGetterTest {
 protected:
  BusyGetterTest() {
    server.setHandler([this](const Request& request) {
      if (mSeen++ > 0) return AnswerAll(request);
      Reply reply = Reply::Raw("").waitFor(gate);
      string rows;
      for (const string& key : KeysOf(request)) {
        rows += (rows.empty() ? "" : ",") + (R"({"doc":{},"key":")" + key) + "\"}";
      }
      reply.send(Reply::HttpText(firstStatus, R"({"rows":[)" + rows + "]}"));
      return reply;
    });
  }
  ~BusyGetterTest() override { gate.open(); }

  unique_ptr<Getter> start(const vector<string>& ids, unsigned int batchSize) {
    unique_ptr<Getter> getter = make(1, batchSize);
    getter->addJobs(ids);
    EXPECT_TRUE(gate.waitForArrivals(1));
    return getter;
  }

  /// The first answer comes when the destructor has told the thread to stop: nothing but time tells when that is.
  void destroyWithFirstRequestInFlight(unique_ptr<Getter> getter) {
    std::promise<void> begun;
    auto destroying = std::async(std::launch::async, [&] {
      begun.set_value();
      getter.reset();
    });
    begun.get_future().wait();
    EXPECT_EQ(destroying.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    gate.open();
    destroying.wait();
  }

  Gate gate;
  std::atomic<int> firstStatus{200};

 private:
  int mSeen = 0;
};

TEST_F(BusyGetterTest, AnIdThatWaitsIsAddedOnce) {
  const unique_ptr<Getter> getter = start({"a"}, 1);
  getter->addJobs({"b", "b"});
  getter->addJobs({"b"});
  gate.open();
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_THAT(recorder.getIds(), ElementsAre("a", "b"));
}

TEST_F(BusyGetterTest, AnIdThatIsBeingFetchedCanBeAddedAgain) {
  const unique_ptr<Getter> getter = start({"a"}, 1);
  getter->addJobs({"a"});
  gate.open();
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_THAT(recorder.getIds(), ElementsAre("a", "a"));
}

TEST_F(BusyGetterTest, ACancelDropsWhatWaitsAndDeliversWhatIsInFlight) {
  const unique_ptr<Getter> getter = start({"a", "b", "c"}, 2);
  getter->cancel();
  gate.open();
  EXPECT_FALSE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_THAT(recorder.getIds(), ElementsAre("a", "b"));
}

TEST_F(BusyGetterTest, AFlagRaisedWhileWaitingCancels) {
  const unique_ptr<Getter> getter = start({"a", "b", "c"}, 1);
  bool cancelFlag = false;
  auto waiting = std::async(std::launch::async, [&] { return getter->waitUntilAllJobsAreDone(&cancelFlag); });
  StoreFlag(cancelFlag, true);
  gate.open();
  EXPECT_FALSE(waiting.get());
  EXPECT_THAT(recorder.getIds(), Contains("a"));
}

TEST_F(BusyGetterTest, WhileIdsAreNotDoneTheCallbackStays) {
  const unique_ptr<Getter> getter = start({"a"}, 1);
  EXPECT_FALSE(getter->setCallback(nullptr, nullptr));
  gate.open();
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_THAT(recorder.getIds(), ElementsAre("a"));
}

TEST_F(BusyGetterTest, DestructionDropsWhatWaits) {
  destroyWithFirstRequestInFlight(start({"a", "b", "c"}, 1));
  EXPECT_THAT(recorder.getIds(), ElementsAre("a"));
}

TEST_F(BusyGetterTest, ABatchWhoseRequestSucceededIsDeliveredWholeInADestruction) {
  destroyWithFirstRequestInFlight(start({"a", "b", "c"}, 3));
  EXPECT_THAT(recorder.getIds(), ElementsAre("a", "b", "c"));
}

TEST_F(BusyGetterTest, ABatchWhoseRequestFailedIsNotToldAfterTheStop) {
  firstStatus = 500;
  destroyWithFirstRequestInFlight(start({"a", "b", "c"}, 3));
  EXPECT_THAT(recorder.getIds(), IsEmpty());
}

TEST_F(BusyGetterTest, ACopySharesTheThreadsOfItsSourceAndJoinsNone) {
  const unique_ptr<Getter> getter = start({"a"}, 1);
  {
    Getter copy(*getter);
    copy.addJobs({"z"});
    copy.cancel();
  }
  gate.open();
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  getter->addJobs({"b"});
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_THAT(recorder.getIds(), ElementsAre("a", "b"));
}

TEST_F(BusyGetterTest, ACopyStartsWithTheCountsOfItsSource) {
  const unique_ptr<Getter> getter = start({"a"}, 1);
  Getter copy(*getter);
  EXPECT_FALSE(copy.setCallback(nullptr, nullptr));
  gate.open();
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_FALSE(copy.setCallback(nullptr, nullptr));
  EXPECT_TRUE(getter->setCallback(nullptr, nullptr));
}

TEST_F(MultiThreadedDocumentGetterTest, AFreshGetterIsDone) {
  EXPECT_TRUE(make()->waitUntilAllJobsAreDone(nullptr));
  EXPECT_EQ(server.getAcceptedConnections(), 0u);
}

TEST_F(MultiThreadedDocumentGetterTest, AfterACancelNothingIsTakenForGood) {
  const unique_ptr<Getter> getter = make();
  getter->cancel();
  getter->addJobs({"a"});
  EXPECT_FALSE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_EQ(server.getRequestCount(), 0u);
}

TEST_F(MultiThreadedDocumentGetterTest, CallbacksMayAddAndCancel) {
  const unique_ptr<Getter> getter = make(1, 1);
  recorder.onDocument = [](Getter& self, const string& id) {
    if (id == "a") self.addJobs({"b"});
    if (id == "b") self.cancel();
    EXPECT_FALSE(self.setCallback(nullptr, nullptr));
  };
  getter->addJobs({"a"});
  EXPECT_FALSE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_THAT(recorder.getIds(), ElementsAre("a", "b"));
}

TEST_F(MultiThreadedDocumentGetterTest, WithoutACallbackIdsAreDoneWithoutARequest) {
  Getter getter(couchServer, "db", nullptr, nullptr, DeliveryRecorder::OnCreate, DeliveryRecorder::OnDelete, 2, 10,
                Getter::DC_Document);
  getter.addJobs(MakeIds(100));
  EXPECT_TRUE(getter.waitUntilAllJobsAreDone(nullptr));
  EXPECT_EQ(server.getRequestCount(), 0u);
  EXPECT_EQ(recorder.created, 0);
}

TEST_F(MultiThreadedDocumentGetterTest, ANewCallbackGetsWhatIsAddedNext) {
  DeliveryRecorder other;
  const unique_ptr<Getter> getter = make();
  getter->addJobs({"a"});
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_TRUE(getter->setCallback(DeliveryRecorder::OnDocument, &other));
  getter->addJobs({"b"});
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_THAT(recorder.getIds(), ElementsAre("a"));
  EXPECT_THAT(other.getIds(), ElementsAre("b"));
}

TEST_F(MultiThreadedDocumentGetterTest, ANewContentCountsFromTheNextRequest) {
  const unique_ptr<Getter> getter = make();
  EXPECT_EQ(getter->getIncludeDocContent(), Getter::DC_Document);
  getter->setIncludeDocContent(Getter::DC_IdAndRev);
  EXPECT_EQ(getter->getIncludeDocContent(), Getter::DC_IdAndRev);
  getter->addJobs({"a"});
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_EQ(server.getRequest(0).target, "/db/_all_docs");
}

TEST_F(MultiThreadedDocumentGetterTest, ACallbackMayTakeTheDocumentAway) {
  struct Taker {
    static void OnDocument(Getter&, const string&, qxVariantMapImpl& doc, const string&, Getter::DocumentResult,
                           void* userData, void*) {
      static_cast<qxVariantMapImpl*>(userData)->swap(doc);
    }
  };
  qxVariantMapImpl taken;
  Getter getter(couchServer, "db", Taker::OnDocument, &taken, nullptr, nullptr, 1, 1, Getter::DC_Document);
  getter.addJobs({"a"});
  EXPECT_TRUE(getter.waitUntilAllJobsAreDone(nullptr));
  EXPECT_EQ(taken.getString("_id", ""), "a");
}

TEST_F(MultiThreadedDocumentGetterTest, ACallbackThatThrowsCostsNoOtherIdItsCallback) {
  const LogCapture log;
  recorder.onDocument = [](Getter&, const string& id) {
    if (id == "b") throw std::runtime_error("host trouble");
  };
  EXPECT_TRUE(fetch({"a", "b", "c"}));
  EXPECT_THAT(recorder.getIds(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(log.count(Error("A worker thread met an exception: host trouble")), 1u);
}

TEST_F(MultiThreadedDocumentGetterTest, ThreadDataIsMadeLateAndOnlyByThreadsThatWork) {
  recorder.onCreate = [this] { EXPECT_EQ(server.getRequestCount(), 0u); };
  unique_ptr<Getter> getter = makeWithThreadData(4);
  EXPECT_EQ(recorder.created, 0);
  getter->addJobs({"a"});
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_EQ(recorder.created, 1);
  EXPECT_EQ(recorder.getDeliveries().at(0).threadData, &recorder.marks.at(0));
  EXPECT_EQ(recorder.deleted, 0);
  getter.reset();
  EXPECT_EQ(recorder.deleted, 1);
}

TEST_F(MultiThreadedDocumentGetterTest, ThreadDataIsMadeOnceForAllRequestsOfAThread) {
  {
    const unique_ptr<Getter> getter = makeWithThreadData(1, 1);
    getter->addJobs(MakeIds(10));
    EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  }
  EXPECT_EQ(recorder.created, 1);
  EXPECT_EQ(recorder.deleted, 1);
}

TEST_F(MultiThreadedDocumentGetterTest, ALoneThreadDataCallbackIsDropped) {
  for (const bool isCreateAlone : {true, false}) {
    Getter getter(couchServer, "db", DeliveryRecorder::OnDocument, &recorder,
                  isCreateAlone ? DeliveryRecorder::OnCreate : nullptr,
                  isCreateAlone ? nullptr : DeliveryRecorder::OnDelete, 1, 1, Getter::DC_Document);
    getter.addJobs({"a"});
    EXPECT_TRUE(getter.waitUntilAllJobsAreDone(nullptr));
  }
  EXPECT_EQ(recorder.created, 0);
  EXPECT_EQ(recorder.deleted, 0);
}

int64 CpuMs() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return int64{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

TEST_F(MultiThreadedDocumentGetterTest, WithNothingToDoNoThreadUsesTime) {
  const unique_ptr<Getter> getter = make(8, 10);
  getter->addJobs({"a"});
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  const int64 before = CpuMs();
  qxThread::msleep(500);
  EXPECT_LT(CpuMs() - before, 100);
}

TEST_F(MultiThreadedDocumentGetterTest, ABatchSizeOfZeroTakesNothingAndNeverSleeps) {
  const unique_ptr<Getter> getter = make(1, 0);
  getter->addJobs({"a"});
  const int64 before = CpuMs();
  bool cancelFlag = false;
  auto waiting = std::async(std::launch::async, [&] { return getter->waitUntilAllJobsAreDone(&cancelFlag); });
  while (CpuMs() - before < 300) qxThread::msleep(10);  // a thread that slept would never use it up
  EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(400)), std::future_status::timeout);
  EXPECT_EQ(server.getRequestCount(), 0u);
  StoreFlag(cancelFlag, true);
  EXPECT_FALSE(waiting.get());
}

}  // namespace
}  // namespace qx::test
