#include "netweft/elasticsearch/internal/WorkerResultParser.h"

#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

namespace qx::test {
namespace {

using elasticsearch::WorkerResultParser;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class WorkerResultParserTest : public testing::Test {
 protected:
  void read(const string& reply) {
    WorkerResultParser parser(batch,
                              [this](const string& id, const string& source) { found.emplace_back(id, source); });
    parser.read(reply);
  }

  map<string, string> batch = {{"a", "t"}, {"b", "t"}};
  vector<pair<string, string>> found;
  LogCapture log;
};

TEST_F(WorkerResultParserTest, AHitLeavesTheBatch) {
  read(R"({"hits":{"total":1,"hits":[{"_id":"a","_source":{"n": 1}}]}})");
  EXPECT_THAT(found, ElementsAre(Pair("a", R"({"n": 1})")));
  EXPECT_THAT(batch, ElementsAre(Pair("b", "t")));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(WorkerResultParserTest, ASecondHitOfAnIdIsIgnored) {
  read(R"({"hits":{"total":2,"hits":[{"_id":"a","_source":{"n":1}},{"_id":"a","_source":{"n":2}}]}})");
  EXPECT_THAT(found, ElementsAre(Pair("a", R"({"n":1})")));
}

TEST_F(WorkerResultParserTest, AHitThatNobodyAskedForIsIgnored) {
  read(R"({"hits":{"total":1,"hits":[{"_id":"z","_source":{}}]}})");
  EXPECT_THAT(found, IsEmpty());
  EXPECT_EQ(batch.size(), 2u);
}

TEST_F(WorkerResultParserTest, AReplyThatCannotBeParsedIsLogged) {
  const string reply = R"({"hits":{"total":1,"hits":[{"_id":"a\q","_source":{}}]}})";
  read(reply);
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Fail to parse es search result"),
                                          Detail("esresultparser", "content to parse" + reply)));
}

TEST_F(WorkerResultParserTest, AReplyThatBreaksOffIsLoggedWithWhatIsLeftOpen) {
  const string reply = R"({"hits":{"total":2,"hits":[{"_id":"a","_source":{}})";
  read(reply);
  EXPECT_THAT(found, ElementsAre(Pair("a", "{}")));
  EXPECT_THAT(batch, ElementsAre(Pair("b", "t")));
  const string error = "Finish error : { => 2, [ => 1, hittag => 2, nextis => 0, error => 0";
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Fail to finalize es search result parser"),
                                          Detail("esresultparser", error + " content to parse" + reply)));
}

TEST_F(WorkerResultParserTest, AnEmptyReplyIsWhole) {
  read("");
  EXPECT_THAT(log.getLines(), IsEmpty());
  EXPECT_EQ(batch.size(), 2u);
}

TEST_F(WorkerResultParserTest, AReplyInALogLineIsCut) {
  const string reply = R"({"hits":{"hits":[{"_id":"a","_source":{"t":")" + string(100'000, 'x');
  read(reply);
  ASSERT_EQ(log.getLines(LT_Detail).size(), 1u);
  EXPECT_LT(log.getLines(LT_Detail).front().text.size(), 10'000u);
}

}  // namespace
}  // namespace qx::test
