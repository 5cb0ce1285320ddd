#include "netweft/elasticsearch/MultiThreadedDocumentGetter.h"

#include "netweft/base/system/qxTimer.h"
#include "tests/live/GetterLiveTest.h"

#include <gmock/gmock.h>

#include <iostream>
#include <random>

namespace qx::test {
namespace {

using Getter = elasticsearch::MultiThreadedDocumentGetter;
using testing::HasSubstr;

void OnDocument(Getter&, const string& id, const string& source, const string& error, Getter::DocumentResult result,
                void* context, void*) {
  static_cast<ReportBook*>(context)->add(id, result, error.empty() ? source : error);
}

vector<string> KeysOf(const map<string, string>& jobs) {
  vector<string> ids;
  for (const auto& [id, type] : jobs) ids.push_back(id);
  return ids;
}

/// One getter over the whole server, with a book of what it reports.
struct Fetching {
  Fetching(const string& url, unsigned int threads, unsigned int maxBatch, const qxVariant& fields = {})
      : es(Url(url)),
        getter(std::make_unique<Getter>(es, OnDocument, &book, nullptr, nullptr, threads, maxBatch, fields)) {}

  bool fetch(const map<string, string>& jobs) {
    getter->addJobs(jobs);
    return getter->waitUntilAllJobsAreDone(nullptr, &bytesReceived);
  }

  elasticsearch::ESConnectionParameters es;
  ReportBook book;
  uint64 bytesReceived = 0;
  unique_ptr<Getter> getter;
};

}  // namespace

TEST_F(GetterLiveTest, SearchEveryDocumentComesOnceWithAnyThreadsAndBatches) {
  const map<string, string>& jobs = indexedJobs();
  for (const unsigned int maxBatch : {1000u, 100u, 10u}) {
    for (const unsigned int threads : {1u, 2u, 8u}) {
      const qxTimer timer(true);
      Fetching run(es().getUrl(), threads, maxBatch);
      EXPECT_TRUE(run.fetch(jobs));
      EXPECT_TRUE(run.book.isExactly(KeysOf(jobs))) << threads << " threads, batches of " << maxBatch;
      EXPECT_EQ(run.book.countResult(Getter::DR_Found), jobs.size());
      EXPECT_GT(run.bytesReceived, jobs.size() * 30);
      std::cout << jobs.size() << " documents, " << threads << " threads, batches of " << maxBatch << ": "
                << timer.getElapsedMs() << " ms" << std::endl;
    }
  }
}

TEST_F(GetterLiveTest, SearchASourceComesByteForByte) {
  const map<string, string>& jobs = indexedJobs();
  Fetching run(es().getUrl(), 2, 100);
  const map<string, string> some(jobs.begin(), std::next(jobs.begin(), 500));
  EXPECT_TRUE(run.fetch(some));
  for (const auto& [id, type] : some) {
    EXPECT_EQ(run.book.get(id).text, R"({"id":")" + id + R"(","type":")" + type + R"(","n":1})");
  }
}

TEST_F(GetterLiveTest, SearchFieldsOfTheSourceCanBeChosen) {
  const map<string, string> jobs = makeJobs("fields", 3, 1);
  writeIndex("fields", jobs);
  qxVariantListImpl fields;
  fields.push_back("n");
  Fetching some(es().getUrl(), 1, 10, fields);
  EXPECT_TRUE(some.fetch(jobs));
  EXPECT_EQ(some.book.get("fields0").text, R"({"n":1})");
  Fetching none(es().getUrl(), 1, 10, false);
  EXPECT_TRUE(none.fetch(jobs));
  EXPECT_EQ(none.book.get("fields0").result, Getter::DR_Found);
  EXPECT_EQ(none.book.get("fields0").text, "");
}

TEST_F(GetterLiveTest, SearchUnknownIdsAndOtherTypesAreMissing) {
  writeIndex("types", {{"typed", "right"}});
  Fetching run(es().getUrl(), 1, 10);
  EXPECT_TRUE(run.fetch({{"typed", "wrong"}, {"unknown", "right"}}));
  EXPECT_EQ(run.book.get("typed").text, "missing");
  EXPECT_EQ(run.book.countResult(Getter::DR_Missing), 2u);
  Fetching any(es().getUrl(), 1, 10);
  EXPECT_TRUE(any.fetch({{"typed", ""}, {"unknown", ""}}));
  EXPECT_EQ(any.book.get("typed").result, Getter::DR_Found);
  EXPECT_EQ(any.book.get("unknown").result, Getter::DR_Missing);
}

TEST_F(GetterLiveTest, SearchIdsMappedAsTextAreMissing) {
  writeIndex("texts", {{"text-1", "t"}}, "text");
  Fetching run(es().getUrl(), 1, 10);
  EXPECT_TRUE(run.fetch({{"text-1", ""}}));
  EXPECT_EQ(run.book.get("text-1").result, Getter::DR_Missing);
}

TEST_F(GetterLiveTest, SearchOneIdInTwoIndexesIsReportedOnceAndTakesTheRoomOfOthers) {
  map<string, string> jobs = makeJobs("twin", 10, 1);
  writeIndex("twins-a", jobs);
  writeIndex("twins-b", jobs);
  const map<string, string> singles = makeJobs("single", 10, 1);
  writeIndex("zz-singles", singles);  // hits of equal score come in the order of their indexes
  jobs.insert(singles.begin(), singles.end());

  Fetching together(es().getUrl(), 1, 100);
  EXPECT_TRUE(together.fetch(jobs));
  EXPECT_TRUE(together.book.isExactly(KeysOf(jobs)));
  EXPECT_EQ(together.book.countResult(Getter::DR_Error), 0u);
  EXPECT_GE(together.book.countResult(Getter::DR_Found), 10u);
  EXPECT_GT(together.book.countResult(Getter::DR_Missing), 0u);

  Fetching apart(es().getUrl(), 2, 1);
  EXPECT_TRUE(apart.fetch(jobs));
  EXPECT_TRUE(apart.book.isExactly(KeysOf(jobs)));
  EXPECT_EQ(apart.book.countResult(Getter::DR_Found), jobs.size());
}

TEST_F(GetterLiveTest, SearchMoreThanTenThousandIdsInOneRequestAreRefused) {
  Fetching most(es().getUrl(), 1, 20'000);
  EXPECT_TRUE(most.fetch(makeJobs("unknown", 10'000, 1)));
  EXPECT_EQ(most.book.countResult(Getter::DR_Missing), 10'000u);
  Fetching tooMany(es().getUrl(), 1, 20'000);
  EXPECT_TRUE(tooMany.fetch(makeJobs("unknown", 10'001, 1)));
  EXPECT_EQ(tooMany.book.countResult(Getter::DR_Error), 10'001u);
  EXPECT_THAT(tooMany.book.get("unknown0").text, HasSubstr("expect 200"));
}

TEST_F(GetterLiveTest, SearchMoreThanAThousandAndTwentyFourTypesInOneRequestAreRefused) {
  Fetching most(es().getUrl(), 1, 2000);
  EXPECT_TRUE(most.fetch(makeJobs("unknown", 1024, 1024)));
  EXPECT_EQ(most.book.countResult(Getter::DR_Missing), 1024u);
  Fetching tooMany(es().getUrl(), 1, 2000);
  EXPECT_TRUE(tooMany.fetch(makeJobs("unknown", 1025, 1025)));
  EXPECT_EQ(tooMany.book.countResult(Getter::DR_Error), 1025u);
}

TEST_F(GetterLiveTest, SearchACancelAtAnyMomentReportsNothingTwice) {
  const map<string, string>& jobs = indexedJobs();
  std::mt19937 random(8);
  for (int round = 0; round < 15; ++round) {
    Fetching run(es().getUrl(), 1 + static_cast<unsigned int>(round) % 4, 20);
    run.getter->addJobs(jobs);
    run.book.waitForReports(random() % 1000);
    run.getter->cancel();
    EXPECT_FALSE(run.getter->waitUntilAllJobsAreDone(nullptr, nullptr));
    const uint64 reports = run.book.getReports();
    EXPECT_EQ(run.book.countReportedTwice(), 0u);
    EXPECT_EQ(run.book.countResult(Getter::DR_Found), reports);
  }
}

TEST_F(GetterLiveTest, SearchADestructionAtAnyMomentEndsAllCallbacks) {
  const map<string, string>& jobs = indexedJobs();
  std::mt19937 random(9);
  for (int round = 0; round < 15; ++round) {
    Fetching run(es().getUrl(), 1 + static_cast<unsigned int>(round) % 4, 20);
    run.getter->addJobs(jobs);
    run.book.waitForReports(random() % 1000);
    run.getter.reset();
    EXPECT_EQ(run.book.countReportedTwice(), 0u);
    EXPECT_EQ(run.book.countResult(Getter::DR_Found), run.book.getReports());
  }
}

TEST_F(GetterLiveTest, SearchAServerKilledInMidRunIsToldForEachIdOnce) {
  const map<string, string>& jobs = indexedJobs();
  Fetching run(es().getUrl(), 4, 10);
  run.getter->addJobs(jobs);
  run.book.waitForReports(jobs.size() / 10);
  es().kill();
  EXPECT_TRUE(run.getter->waitUntilAllJobsAreDone(nullptr, nullptr));
  EXPECT_TRUE(run.book.isExactly(KeysOf(jobs)));
  EXPECT_GT(run.book.countResult(Getter::DR_Found), 0u);
  EXPECT_GT(run.book.countResult(Getter::DR_Error), 0u);
  es().restart();
}

}  // namespace qx::test
