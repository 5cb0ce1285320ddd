#include "netweft/couch/internal/ConflictJobs.h"

#include "netweft/base/json/Json2Variant.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

namespace qx::test {
namespace {

using couch::ConflictJobs;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;

bool Take(const string& text, ConflictJobs& jobs) {
  qxVariantMapImpl answer;
  EXPECT_TRUE(json::Json2Variant::Convert(text.data(), text.size(), answer));
  return couch::TakeConflictRows(answer, "db", jobs);
}

TEST(ConflictJobsTest, EachRowIsAJobWithItsRevisionsInOrder) {
  ConflictJobs jobs;
  EXPECT_TRUE(
      Take(R"({"rows":[{"id":"b","value":["2-x","1-y"]},{"id":"a","key":7,"value":["9-z","1-a","1-b"]}]})", jobs));
  ASSERT_THAT(jobs, ElementsAre(Key("a"), Key("b")));
  EXPECT_EQ(jobs["a"].size(), 3u);
  EXPECT_EQ(jobs["a"][0].toString(), "9-z");
}

TEST(ConflictJobsTest, ADocumentListedAgainReplacesItsEntry) {
  ConflictJobs jobs;
  EXPECT_TRUE(Take(R"({"rows":[{"id":"a","value":["1-x","1-y"]}]})", jobs));
  EXPECT_TRUE(Take(R"({"rows":[{"id":"a","value":["2-x","1-y"]}]})", jobs));
  EXPECT_EQ(jobs["a"][0].toString(), "2-x");
}

TEST(ConflictJobsTest, NoRowsIsAGoodAnswer) {
  const LogCapture log;
  ConflictJobs jobs;
  EXPECT_TRUE(Take(R"({"rows":[]})", jobs));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST(ConflictJobsTest, AnythingElseIsMalformed) {
  for (const char* text : {"{}", R"({"rows":7})", R"({"rows":{}})", R"({"rows":[7]})",
                           R"({"rows":[{"value":["1-a","1-b"]}]})", R"({"rows":[{"id":"","value":["1-a","1-b"]}]})",
                           R"({"rows":[{"id":"a"}]})", R"({"rows":[{"id":"a","value":7}]})",
                           R"({"rows":[{"id":"a","value":["1-a"]}]})", R"({"rows":[{"id":"a","value":[]}]})"}) {
    const LogCapture log;
    ConflictJobs jobs;
    EXPECT_FALSE(Take(text, jobs)) << text;
    EXPECT_THAT(jobs, IsEmpty()) << text;
    EXPECT_THAT(log.getLines(), ElementsAre(Error("Malformed json while fetching conflict view of database db")));
  }
}

TEST(ConflictJobsTest, RowsBeforeTheMalformedOneAreTakenAndThoseBehindItAreNot) {
  const LogCapture log;
  ConflictJobs jobs;
  EXPECT_FALSE(Take(R"({"rows":[{"id":"a","value":["1-a","1-b"]},7,{"id":"b","value":["1-a","1-b"]}]})", jobs));
  EXPECT_THAT(jobs, ElementsAre(Key("a")));
}

}  // namespace
}  // namespace qx::test
