#include "netweft/elasticsearch/MultiThreadedDocumentGetter.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxThread.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/CurlTrace.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

#include <time.h>

#include <algorithm>
#include <future>
#include <mutex>
#include <stdexcept>

namespace qx::test {
namespace {

using Getter = elasticsearch::MultiThreadedDocumentGetter;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

/// The ids that a search asks for, group by group.
vector<string> IdsOf(const Request& request) {
  qxVariantMapImpl body;
  json::Json2Variant::Convert(request.body.data(), request.body.size(), body);
  vector<string> ids;
  for (const qxVariant& group : body.getValuePath("query/bool/should", {}, '/').toList()) {
    for (const qxVariant& id : group.getMap().getValuePath("bool/must/terms/id", {}, '/').toList()) {
      ids.push_back(id.toString());
    }
  }
  return ids;
}

string ReplyText(const vector<string>& ids) {
  string hits;
  for (const string& id : ids) {
    hits += (hits.empty() ? "" : ",") + (R"({"_id":")" + id) + R"(","_source":{"id":")" + id + "\"}}";
  }
  return R"({"took":1,"hits":{"total":)" + std::to_string(ids.size()) + R"(,"hits":[)" + hits + "]}}";
}

Reply AnswerAll(const Request& request) { return Reply::Json(200, ReplyText(IdsOf(request))); }

map<string, string> MakeJobs(int count) {
  map<string, string> jobs;
  for (int i = 0; i < count; ++i) jobs["id" + std::to_string(i)] = "t" + std::to_string(i % 3);
  return jobs;
}

struct Delivery {
  string id;
  string source;
  string error;
  Getter::DocumentResult result;
  void* threadData;
};

class ElasticsearchGetterTest : public LibraryFixture {
 protected:
  static void OnDocument(Getter& getter, const string& id, const string& source, const string& error,
                         Getter::DocumentResult result, void* context, void* threadData) {
    auto& self = *static_cast<ElasticsearchGetterTest*>(context);
    {
      const std::lock_guard lock(self.mMutex);
      self.mDeliveries.push_back({id, source, error, result, threadData});
    }
    if (self.onDocument != nullptr) self.onDocument(getter, id);
  }
  static void OnInit(Getter&, void* context, void*& threadData) {
    auto& self = *static_cast<ElasticsearchGetterTest*>(context);
    ++self.created;
    threadData = &self;
  }
  static void OnExit(Getter&, void* context, void*& threadData) {
    auto& self = *static_cast<ElasticsearchGetterTest*>(context);
    EXPECT_EQ(threadData, &self);
    ++self.deleted;
  }

  unique_ptr<Getter> make(unsigned int threads = 1, unsigned int maxBatch = 100, const qxVariant& sourceFields = {}) {
    return std::make_unique<Getter>(es, OnDocument, this, nullptr, nullptr, threads, maxBatch, sourceFields);
  }
  bool fetch(const map<string, string>& jobs, unsigned int threads = 1, unsigned int maxBatch = 100) {
    const unique_ptr<Getter> getter = make(threads, maxBatch);
    getter->addJobs(jobs);
    return getter->waitUntilAllJobsAreDone(nullptr, nullptr);
  }
  vector<Delivery> getDeliveries() const {
    const std::lock_guard lock(mMutex);
    return mDeliveries;
  }
  vector<string> getIds() const {
    vector<string> ids;
    for (const Delivery& delivery : getDeliveries()) ids.push_back(delivery.id);
    std::sort(ids.begin(), ids.end());
    return ids;
  }

  /// The first answer waits at the gate.
  unique_ptr<Getter> startBehindGate(const map<string, string>& jobs, unsigned int maxBatch, int status = 200) {
    server.setHandler([this, status, seen = 0](const Request& request) mutable {
      if (seen++ > 0) return AnswerAll(request);
      Reply reply = Reply::Raw("").waitFor(gate);
      reply.send(Reply::HttpText(status, ReplyText(IdsOf(request))));
      return reply;
    });
    unique_ptr<Getter> getter = make(1, maxBatch);
    getter->addJobs(jobs);
    EXPECT_TRUE(gate.waitForArrivals(1));
    return getter;
  }
  /// The answer comes when the destructor has told the thread to stop: nothing but time tells when that is.
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
  ScriptedServer server{AnswerAll};
  elasticsearch::ESConnectionParameters es = Url(server.getUrl(""));
  std::function<void(Getter&, const string&)> onDocument;
  std::atomic<int> created{0};
  std::atomic<int> deleted{0};

 private:
  mutable std::mutex mMutex;
  vector<Delivery> mDeliveries;
};

TEST_F(ElasticsearchGetterTest, ABatchIsOneSearchOverAllIndexes) {
  EXPECT_TRUE(fetch({{"b", "t"}, {"a", "t"}}));
  const Request request = server.getRequest(0);
  EXPECT_EQ(request.line, "POST /_search HTTP/1.1");
  EXPECT_TRUE(request.hasHeaderLine("Content-Type: application/json"));
  EXPECT_EQ(request.countHeaders("Content-Type"), 1u);
  EXPECT_EQ(request.body, R"({"query":{"bool":{"should":[{"bool":{"filter":{"term":{"type":"t"}},)"
                          R"("must":{"terms":{"id":["a","b"]}}}}]}},"size":2})");
}

TEST_F(ElasticsearchGetterTest, SourceFieldsGoIntoTheRequest) {
  const unique_ptr<Getter> getter = make(1, 10, qxVariant(false));
  getter->addJob("a", "");
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_THAT(server.getRequest(0).body, testing::StartsWith(R"({"_source":false,"query":)"));
}

TEST_F(ElasticsearchGetterTest, AnEmptyTypeGivesAGroupWithoutAFilter) {
  EXPECT_TRUE(fetch({{"a", ""}}));
  EXPECT_THAT(server.getRequest(0).body, testing::Not(HasSubstr("filter")));
}

TEST_F(ElasticsearchGetterTest, TheRequestSetsItsOptionsInOrder) {
  const CurlTrace trace;
  EXPECT_TRUE(fetch({{"a", ""}}));
  const vector<string> texts = trace.getTexts();
  const string size = std::to_string(server.getRequest(0).body.size());
  const vector<string> expected = {"WRITEFUNCTION set", "READFUNCTION set", "XFERINFOFUNCTION set", "POST 1",
                                   "POSTFIELDSIZE " + size};
  EXPECT_NE(std::search(texts.begin(), texts.end(), expected.begin(), expected.end()), texts.end());
  EXPECT_THAT(texts, IsSupersetOf({"CONNECTTIMEOUT 30", "LOW_SPEED_LIMIT 10", "LOW_SPEED_TIME 1200"}));
}

TEST_F(ElasticsearchGetterTest, AFoundDocumentComesWithItsSource) {
  EXPECT_TRUE(fetch({{"a", "t"}}));
  EXPECT_THAT(getDeliveries(),
              ElementsAre(AllOf(Field(&Delivery::id, "a"), Field(&Delivery::source, R"({"id":"a"})"),
                                Field(&Delivery::error, ""), Field(&Delivery::result, Getter::DR_Found),
                                Field(&Delivery::threadData, nullptr))));
}

TEST_F(ElasticsearchGetterTest, WhatDoesNotComeBackIsMissing) {
  server.queue(Reply::Json(200, ReplyText({"b"})));
  EXPECT_TRUE(fetch({{"a", "t"}, {"b", "t"}, {"c", "t"}}));
  const auto missing = [](const char* id) {
    return AllOf(Field(&Delivery::id, id), Field(&Delivery::source, ""), Field(&Delivery::error, "missing"),
                 Field(&Delivery::result, Getter::DR_Missing));
  };
  EXPECT_THAT(getDeliveries(), ElementsAre(Field(&Delivery::id, "b"), missing("a"), missing("c")));
}

TEST_F(ElasticsearchGetterTest, AFailedRequestIsToldForEachIdAndIsNotTriedAgain) {
  const LogCapture log;
  server.queue(Reply::Json(503, "{}"));
  EXPECT_TRUE(fetch({{"b", "t"}, {"a", "t"}}));
  const auto failed = [](const char* id) {
    return AllOf(Field(&Delivery::id, id), Field(&Delivery::source, ""),
                 Field(&Delivery::error, HasSubstr("bad html response code, got 503, expect 200")),
                 Field(&Delivery::result, Getter::DR_Error));
  };
  EXPECT_THAT(getDeliveries(), ElementsAre(failed("a"), failed("b")));
  EXPECT_EQ(server.getRequestCount(), 1u);
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
}

TEST_F(ElasticsearchGetterTest, AReplyThatBreaksOffReportsTheRestAsMissing) {
  const LogCapture log;
  server.queue(Reply::Json(200, R"({"hits":{"total":2,"hits":[{"_id":"b","_source":{}})"));
  EXPECT_TRUE(fetch({{"a", "t"}, {"b", "t"}}));
  EXPECT_THAT(getDeliveries(),
              ElementsAre(Field(&Delivery::result, Getter::DR_Found), Field(&Delivery::result, Getter::DR_Missing)));
  EXPECT_EQ(log.count(Error("Fail to finalize es search result parser")), 1u);
}

TEST_F(ElasticsearchGetterTest, AReplyThatCarriesAnErrorReportsAllAsMissing) {
  const LogCapture log;
  const string reply = R"({"error":{"reason":"no"},"status":200})";
  server.queue(Reply::Json(200, reply));
  EXPECT_TRUE(fetch({{"a", "t"}}));
  EXPECT_THAT(getDeliveries(), ElementsAre(Field(&Delivery::result, Getter::DR_Missing)));
  EXPECT_EQ(log.count(Error("Fail to parse es search result")), 1u);
  EXPECT_EQ(log.count(Detail("esresultparser", "content to parse" + reply)), 1u);
}

TEST_F(ElasticsearchGetterTest, EveryIdIsReportedOnceWhateverThreadsAndBatches) {
  const map<string, string> jobs = MakeJobs(300);
  uint64 reported = 0;
  for (const unsigned int threads : {1u, 2u, 8u}) {
    for (const unsigned int maxBatch : {1u, 7u, 1000u}) {
      EXPECT_TRUE(fetch(jobs, threads, maxBatch));
      const vector<Delivery> deliveries = getDeliveries();
      set<string> ids;
      for (uint64 i = reported; i < deliveries.size(); ++i) ids.insert(deliveries[i].id);
      EXPECT_EQ(ids.size(), jobs.size());
      EXPECT_EQ(deliveries.size() - reported, jobs.size());
      reported = deliveries.size();
    }
  }
}

TEST_F(ElasticsearchGetterTest, AThreadTakesItsShareOfWhatIsToBeDone) {
  EXPECT_TRUE(fetch(MakeJobs(8), 1, 100));
  EXPECT_EQ(server.getRequestCount(), 1u);
  EXPECT_TRUE(fetch(MakeJobs(8), 4, 100));
  EXPECT_EQ(IdsOf(server.getRequest(1)).size(), 2u);
}

TEST_F(ElasticsearchGetterTest, ABatchHoldsNoMoreThanItMay) {
  EXPECT_TRUE(fetch(MakeJobs(25), 1, 10));
  EXPECT_EQ(IdsOf(server.getRequest(0)).size(), 10u);
  EXPECT_EQ(server.getRequestCount(), 3u);
}

TEST_F(ElasticsearchGetterTest, AMaximumOfZeroMeansOneIdPerRequest) {
  EXPECT_TRUE(fetch(MakeJobs(5), 1, 0));
  EXPECT_EQ(server.getRequestCount(), 5u);
}

TEST_F(ElasticsearchGetterTest, NoThreadsMeansOne) {
  const unique_ptr<Getter> getter = make(0, 1);
  onDocument = [&](Getter&, const string&) {
    gate.arrive([] {});
    EXPECT_FALSE(gate.waitForArrivals(3, std::chrono::milliseconds(100)));
  };
  getter->addJobs(MakeJobs(2));
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(ElasticsearchGetterTest, ThreadsCallBackAtTheSameTime) {
  onDocument = [&](Getter&, const string&) {
    gate.arrive([] {});
    EXPECT_TRUE(gate.waitForArrivals(2));
  };
  EXPECT_TRUE(fetch(MakeJobs(2), 2, 1));
}

TEST_F(ElasticsearchGetterTest, TheSizesOfGoodRepliesAreSummed) {
  const unique_ptr<Getter> getter = make(1, 1);
  server.queue(Reply::Json(500, "does not count"));
  getter->addJob("a", "");
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  uint64 received = 7;
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, &received));
  EXPECT_EQ(received, 0u);
  getter->addJobs({{"b", ""}, {"c", ""}});
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, &received));
  EXPECT_EQ(received, ReplyText({"b"}).size() + ReplyText({"c"}).size());
}

TEST_F(ElasticsearchGetterTest, AnIdThatWaitsKeepsTheTypeThatItWaitsWith) {
  const unique_ptr<Getter> getter = startBehindGate({{"a", "t"}}, 1);
  getter->addJob("b", "first");
  getter->addJob("b", "second");
  getter->addJobs({{"b", "third"}});
  gate.open();
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_THAT(getIds(), ElementsAre("a", "b"));
  EXPECT_THAT(server.getRequest(1).body, HasSubstr("\"first\""));
}

TEST_F(ElasticsearchGetterTest, ACancelDropsWhatWaitsAndReportsWhatIsInFlight) {
  const unique_ptr<Getter> getter = startBehindGate({{"a", ""}, {"b", ""}, {"c", ""}}, 2);
  getter->cancel();
  gate.open();
  EXPECT_FALSE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_THAT(getIds(), ElementsAre("a", "b"));
}

TEST_F(ElasticsearchGetterTest, AFlagRaisedWhileWaitingCancels) {
  const unique_ptr<Getter> getter = startBehindGate({{"a", ""}, {"b", ""}}, 1);
  bool cancelFlag = false;
  auto waiting = std::async(std::launch::async, [&] { return getter->waitUntilAllJobsAreDone(&cancelFlag, nullptr); });
  StoreFlag(cancelFlag, true);
  gate.open();
  EXPECT_FALSE(waiting.get());
}

TEST_F(ElasticsearchGetterTest, WhatIsAddedAfterACancelIsFetchedAndTheWaitStaysFalse) {
  const unique_ptr<Getter> getter = make();
  getter->cancel();
  getter->addJob("a", "");
  EXPECT_FALSE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_THAT(getIds(), ElementsAre("a"));
}

TEST_F(ElasticsearchGetterTest, AFreshGetterIsDone) {
  EXPECT_TRUE(make()->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_EQ(server.getAcceptedConnections(), 0u);
}

TEST_F(ElasticsearchGetterTest, TheCallbackStaysWhileIdsAreNotDone) {
  const unique_ptr<Getter> getter = startBehindGate({{"a", ""}}, 1);
  EXPECT_FALSE(getter->setCallback(nullptr, nullptr));
  gate.open();
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_TRUE(getter->setCallback(nullptr, nullptr));
  getter->addJob("b", "");
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_THAT(getIds(), ElementsAre("a"));
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(ElasticsearchGetterTest, AfterTheStopOnlyTheHitsAreReported) {
  destroyWithFirstRequestInFlight(startBehindGate({{"a", ""}, {"b", ""}, {"c", ""}}, 2));
  EXPECT_THAT(getIds(), ElementsAre("a", "b"));
}

TEST_F(ElasticsearchGetterTest, AfterTheStopAFailureIsNotTold) {
  destroyWithFirstRequestInFlight(startBehindGate({{"a", ""}, {"b", ""}}, 2, 500));
  EXPECT_THAT(getIds(), IsEmpty());
}

TEST_F(ElasticsearchGetterTest, ACopySharesTheThreadsOfItsSourceAndJoinsNone) {
  const unique_ptr<Getter> getter = startBehindGate({{"a", ""}}, 1);
  {
    Getter copy(*getter);
    EXPECT_FALSE(copy.setCallback(nullptr, nullptr));
    copy.addJob("z", "");
    copy.cancel();
  }
  gate.open();
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  getter->addJob("b", "");
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_THAT(getIds(), ElementsAre("a", "b"));
}

TEST_F(ElasticsearchGetterTest, ThreadDataIsMadeLateAndOnlyByThreadsThatWork) {
  auto getter = std::make_unique<Getter>(es, OnDocument, this, OnInit, OnExit, 4, 10, qxVariant());
  EXPECT_EQ(created, 0);
  for (const char* id : {"a", "b", "c"}) {
    getter->addJob(id, "");
    EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  }
  EXPECT_GE(created, 1);
  EXPECT_LE(created, 3);
  EXPECT_THAT(getDeliveries(), Each(Field(&Delivery::threadData, static_cast<void*>(this))));
  EXPECT_EQ(deleted, 0);
  getter.reset();
  EXPECT_EQ(deleted, created);
}

TEST_F(ElasticsearchGetterTest, ALoneThreadDataCallbackIsDropped) {
  for (const bool isInitAlone : {true, false}) {
    Getter getter(es, OnDocument, this, isInitAlone ? OnInit : nullptr, isInitAlone ? nullptr : OnExit, 1, 1,
                  qxVariant());
    getter.addJob("a", "");
    EXPECT_TRUE(getter.waitUntilAllJobsAreDone(nullptr, nullptr));
  }
  EXPECT_EQ(created, 0);
  EXPECT_EQ(deleted, 0);
}

TEST_F(ElasticsearchGetterTest, CallbacksMayAddAndCancel) {
  const unique_ptr<Getter> getter = make(1, 1);
  onDocument = [](Getter& self, const string& id) {
    if (id == "a") self.addJob("b", "");
    if (id == "b") self.cancel();
    EXPECT_FALSE(self.setCallback(nullptr, nullptr));
  };
  getter->addJob("a", "");
  EXPECT_FALSE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_THAT(getIds(), ElementsAre("a", "b"));
}

TEST_F(ElasticsearchGetterTest, ACallbackThatThrowsCostsNoOtherIdItsCallback) {
  const LogCapture log;
  onDocument = [](Getter&, const string& id) {
    if (id == "b") throw std::runtime_error("host trouble");
  };
  EXPECT_TRUE(fetch({{"a", ""}, {"b", ""}, {"c", ""}}));
  EXPECT_THAT(getIds(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(log.count(Error("A worker thread met an exception: host trouble")), 1u);
}

int64 CpuMs() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return int64{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

TEST_F(ElasticsearchGetterTest, WithNothingToDoNoThreadUsesTime) {
  const unique_ptr<Getter> getter = make(8, 0);
  getter->addJob("a", "");
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  const int64 before = CpuMs();
  qxThread::msleep(500);
  EXPECT_LT(CpuMs() - before, 100);
}

}  // namespace
}  // namespace qx::test
