#include "netweft/couch/MultiThreadedDocumentGetter.h"

#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxTimer.h"
#include "tests/live/GetterLiveTest.h"
#include "tests/support/LogCapture.h"

#include <iostream>
#include <random>
#include <thread>

namespace qx::test {
namespace {

using Getter = couch::MultiThreadedDocumentGetter;

/// The id and, of an attachment "a.txt", its data or "stub".
string Describe(const qxVariantMapImpl& doc) {
  const string text = doc.getString("_id", "-");
  const qxVariant* const attachment = doc.findValuePath("_attachments/a.txt", '/');
  if (attachment == nullptr) return text;
  return text + (attachment->getMap().contains("stub") ? "|stub" : "|" + attachment->getMap().getString("data", ""));
}

void OnDocument(Getter&, const string& id, qxVariantMapImpl& doc, const string& error, Getter::DocumentResult result,
                void* userData, void*) {
  static_cast<ReportBook*>(userData)->add(id, result, error.empty() ? Describe(doc) : error);
}

/// One getter over one database, with a book of what it reports.
struct Fetching {
  Fetching(const string& url, const string& db, unsigned int threads, unsigned int batchSize,
           Getter::DocContent content)
      : server(Url(url)),
        getter(std::make_unique<Getter>(server, db, OnDocument, &book, nullptr, nullptr, threads, batchSize, content)) {
  }

  couch::CouchConnectionParameters server;
  ReportBook book;
  unique_ptr<Getter> getter;
};

}  // namespace

TEST_F(GetterLiveTest, CouchEveryDocumentComesOnceWithAnyThreadsAndBatches) {
  const vector<string>& ids = mixedIds();
  for (const unsigned int batchSize : {1000u, 100u, 1u}) {
    for (const unsigned int threads : {1u, 2u, 8u}) {
      const qxTimer timer(true);
      Fetching run(couch().getUrl(), sMixedDb, threads, batchSize, Getter::DC_Document);
      run.getter->addJobs(ids);
      EXPECT_TRUE(run.getter->waitUntilAllJobsAreDone(nullptr));
      EXPECT_TRUE(run.book.isExactly(ids)) << threads << " threads, batches of " << batchSize;
      EXPECT_EQ(run.book.countResult(Getter::DR_Found), ids.size());
      std::cout << ids.size() << " documents, " << threads << " threads, batches of " << batchSize << ": "
                << timer.getElapsedMs() << " ms" << std::endl;
    }
  }
}

TEST_F(GetterLiveTest, CouchADocumentIsTheOneThatWasAskedFor) {
  const vector<string>& ids = mixedIds();
  Fetching run(couch().getUrl(), sMixedDb, 2, 100, Getter::DC_Document);
  run.getter->addJobs(ids);
  EXPECT_TRUE(run.getter->waitUntilAllJobsAreDone(nullptr));
  for (uint64 number = 0; number < ids.size(); ++number) {
    ASSERT_EQ(run.book.get(ids[number]).text, ids[number] + (number % 9 == 6 ? "|stub" : ""));
  }
}

TEST_F(GetterLiveTest, CouchAttachmentsComeWithTheirData) {
  const vector<string>& all = mixedIds();
  const vector<string> ids(all.begin(), all.begin() + 2000);
  Fetching run(couch().getUrl(), sMixedDb, 2, 50, Getter::DC_DocumentWithAttachments);
  run.getter->addJobs(ids);
  EXPECT_TRUE(run.getter->waitUntilAllJobsAreDone(nullptr));
  for (uint64 number = 0; number < ids.size(); ++number) {
    ASSERT_EQ(run.book.get(ids[number]).text, ids[number] + (number % 9 == 6 ? "|aGVsbG8=" : ""));
  }
}

TEST_F(GetterLiveTest, CouchDeletedAndUnknownIdsAreToldApart) {
  const string db = freshName("deleted");
  createDatabase(db);
  bulkDocs(db, R"([{"_id":"live"},{"_id":"gone"}])");
  ASSERT_TRUE(remove(db, "gone"));
  for (const auto content : {Getter::DC_Document, Getter::DC_DocumentWithAttachments, Getter::DC_IdAndRev}) {
    Fetching run(couch().getUrl(), db, 1, 10, content);
    run.getter->addJobs({"live", "gone", "never"});
    EXPECT_TRUE(run.getter->waitUntilAllJobsAreDone(nullptr));
    EXPECT_EQ(run.book.get("live").text, "live");
    EXPECT_EQ(run.book.get("gone").result, Getter::DR_Found);
    EXPECT_EQ(run.book.get("gone").text, content == Getter::DC_IdAndRev ? "gone" : "-");
    EXPECT_EQ(run.book.get("never").result, Getter::DR_DocumentError);
    EXPECT_EQ(run.book.get("never").text, "not_found");
  }
}

TEST_F(GetterLiveTest, CouchAnUnknownDatabaseFailsEachId) {
  Fetching run(couch().getUrl(), freshName("no-such"), 2, 1, Getter::DC_Document);
  run.getter->addJobs({"a", "b"});
  EXPECT_TRUE(run.getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_EQ(run.book.countResult(Getter::DR_RequestFailed), 2u);
}

TEST_F(GetterLiveTest, CouchACancelAtAnyMomentDeliversWholeBatchesAndNothingTwice) {
  const vector<string>& ids = mixedIds();
  std::mt19937 random(5);
  for (int round = 0; round < 15; ++round) {
    Fetching run(couch().getUrl(), sMixedDb, 1 + static_cast<unsigned int>(round) % 4, 20, Getter::DC_IdAndRev);
    run.getter->addJobs(ids);
    bool cancelFlag = false;
    const uint64 moment = random() % 2000;
    std::thread canceller([&] {
      run.book.waitForReports(moment);
      if (round % 2 == 0) {
        run.getter->cancel();
      } else {
        StoreFlag(cancelFlag, true);
      }
    });
    run.getter->waitUntilAllJobsAreDone(&cancelFlag);
    canceller.join();
    EXPECT_FALSE(run.getter->waitUntilAllJobsAreDone(&cancelFlag));
    const uint64 reports = run.book.getReports();
    EXPECT_EQ(reports % 20 == 0 || reports == ids.size(), true) << reports;
    EXPECT_EQ(run.book.countReportedTwice(), 0u);
    EXPECT_EQ(run.book.countResult(Getter::DR_Found), reports);
  }
}

TEST_F(GetterLiveTest, CouchADestructionAtAnyMomentEndsAllCallbacks) {
  const vector<string>& ids = mixedIds();
  std::mt19937 random(6);
  for (int round = 0; round < 15; ++round) {
    Fetching run(couch().getUrl(), sMixedDb, 1 + static_cast<unsigned int>(round) % 4, 20, Getter::DC_IdAndRev);
    run.getter->addJobs(ids);
    run.book.waitForReports(random() % 2000);
    run.getter.reset();
    const uint64 reports = run.book.getReports();
    EXPECT_EQ(run.book.countReportedTwice(), 0u);
    EXPECT_EQ(run.book.countResult(Getter::DR_Found), reports);
  }
}

#if defined(NETWEFT_BULK_READ)
TEST_F(GetterLiveTest, CouchTheExampleReadsAWholeDatabase) {
  const vector<string>& ids = mixedIds();
  ChildProcess example({NETWEFT_BULK_READ, "read", couch().getUrl() + "/" + sMixedDb, "4", "200"});
  string line;
  ASSERT_TRUE(example.readLine(line, 300'000));
  EXPECT_EQ(line.find(std::to_string(ids.size()) + " documents, 0 failed, "), 0u) << line;
  EXPECT_EQ(example.wait(60'000), 0);
}

TEST_F(GetterLiveTest, CouchTheExampleTellsOfADatabaseThatIsNotThere) {
  ChildProcess example({NETWEFT_BULK_READ, "read", couch().getUrl() + "/" + freshName("nowhere")});
  EXPECT_EQ(example.wait(60'000), 1);
}
#endif

TEST_F(GetterLiveTest, CouchAServerKilledInMidRunIsToldForEachIdOnce) {
  const vector<string>& ids = mixedIds();
  {
    Fetching run(couch().getUrl(), sMixedDb, 4, 20, Getter::DC_Document);
    run.getter->addJobs(ids);
    run.book.waitForReports(ids.size() / 10);
    couch().kill();
    EXPECT_TRUE(run.getter->waitUntilAllJobsAreDone(nullptr));
    EXPECT_TRUE(run.book.isExactly(ids));
    EXPECT_GT(run.book.countResult(Getter::DR_RequestFailed), 0u);
    EXPECT_GT(run.book.countResult(Getter::DR_Found), 0u);
    couch().restart();
    const vector<string> again(ids.begin(), ids.begin() + 100);
    const uint64 found = run.book.countResult(Getter::DR_Found);
    run.getter->addJobs(again);
    EXPECT_TRUE(run.getter->waitUntilAllJobsAreDone(nullptr));
    EXPECT_GE(run.book.countResult(Getter::DR_Found), found);
    EXPECT_EQ(run.book.get(again.back()).result, Getter::DR_Found);
  }
}

}  // namespace qx::test
