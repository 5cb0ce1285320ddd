#include "netweft/river/internal/IndexRefresh.h"

#include "netweft/http/HttpConnection.h"
#include "tests/http/LibraryFixture.h"
#include "tests/river/FakeElasticsearch.h"
#include "tests/support/LogCapture.h"

namespace qx::couch::test {

namespace {

using qx::test::CapturedLine;
using qx::test::Error;

constexpr const char* sRefresh = "POST /things/_refresh";
constexpr const char* sRead = "GET /things/_mapping";
constexpr const char* sWrite = "PUT /things/_doc/_mapping";

class IndexRefreshTest : public qx::test::LibraryFixture {
 protected:
  IndexRefreshTest() {
    mEs.setIndex("things",
                 {.creationDate = "17",
                  .uuid = "u",
                  .settings = {},
                  .mapping = FromJson(R"({"_meta":{"creationdescriptor":"17_u","lastrefreshseq":5,"own":"x"}})")});
  }

  StepResult refresh(uint64 sequence = 9, const bool* cancelFlag = nullptr) {
    return RefreshIndex(mConnection, mEs.getServer(), {"things", "17_u"}, sequence, cancelFlag);
  }
  string stored(const string& key) const {
    return mEs.getIndex("things").mapping.findValuePath("_meta/" + key, '/')->toString();
  }
  vector<CapturedLine> errors() const { return mLog.getLines(LT_Error); }

  qx::test::LogCapture mLog;
  FakeElasticsearch mEs;
  http::HttpConnection mConnection{true};
};

class UnrefreshedShardTest : public IndexRefreshTest, public testing::WithParamInterface<string> {};

}  // namespace

TEST_F(IndexRefreshTest, RefreshesAndWritesTheSequence) {
  EXPECT_EQ(refresh(), StepResult::Done);
  EXPECT_EQ(mEs.takeRequests(), (vector<string>{sRefresh, sRead, sWrite}));
  EXPECT_EQ(mEs.getBody(sRefresh), "");
  EXPECT_EQ(stored("lastrefreshseq"), "9");
  EXPECT_FALSE(stored("lastrefreshdate").empty());
}

TEST_F(IndexRefreshTest, WritesTheMetaAloneAndKeepsTheRestOfIt) {
  refresh();
  const qxVariantMapImpl body = FromJson(mEs.getBody(sWrite));
  EXPECT_EQ(body.size(), 1u);
  EXPECT_EQ(stored("own"), "x");
  EXPECT_EQ(stored("creationdescriptor"), "17_u");
}

TEST_F(IndexRefreshTest, ALargerStoredSequenceStays) {
  EXPECT_EQ(refresh(3), StepResult::Done);
  EXPECT_EQ(stored("lastrefreshseq"), "5");
}

TEST_P(UnrefreshedShardTest, IsAFailureWithTheReply) {
  mEs.answer(sRefresh, Reply::Json(200, GetParam()));
  EXPECT_EQ(refresh(), StepResult::Failed);
  EXPECT_EQ(errors(), vector<CapturedLine>{Error("Fail to refresh index " + GetParam())});
  EXPECT_EQ(mEs.takeRequests(), vector<string>{sRefresh});
}

INSTANTIATE_TEST_SUITE_P(Replies, UnrefreshedShardTest,
                         testing::Values(R"({"_shards":{"successful":1,"failed":1}})",
                                         R"({"_shards":{"successful":0,"failed":0}})", R"({"_shards":{}})", "{}",
                                         "[]"));

TEST_F(IndexRefreshTest, AMissingCountOfFailuresIsNone) {
  mEs.answer(sRefresh, Reply::Json(200, R"({"_shards":{"successful":1}})"));
  EXPECT_EQ(refresh(), StepResult::Done);
}

TEST_F(IndexRefreshTest, ARefusedRefreshIsAFailure) {
  mEs.answer(sRefresh, Reply::Json(500, "{}"));
  EXPECT_EQ(refresh(), StepResult::Failed);
  EXPECT_EQ(errors(), vector<CapturedLine>{Error("Fail to refresh index " + mConnection.getLastErrorMsg())});
}

TEST_F(IndexRefreshTest, AMappingThatCannotBeReadIsAFailure) {
  mEs.answer(sRead, Reply::Json(500, "{}"));
  EXPECT_EQ(refresh(), StepResult::Failed);
  EXPECT_EQ(errors(), vector<CapturedLine>{Error("Fail to retrieve mapping " + mConnection.getLastErrorMsg())});
  EXPECT_EQ(stored("lastrefreshseq"), "5");
}

TEST_F(IndexRefreshTest, AMappingThatCannotBeWrittenIsAFailure) {
  mEs.answer(sWrite, Reply::Json(500, "{}"));
  EXPECT_EQ(refresh(), StepResult::Failed);
  EXPECT_EQ(errors(), vector<CapturedLine>{Error("Fail to update mapping " + mConnection.getLastErrorMsg())});
}

TEST_F(IndexRefreshTest, AnIndexWithoutMetaIsNotOurs) {
  mEs.removeMeta("things");
  EXPECT_EQ(refresh(), StepResult::Failed);
  EXPECT_EQ(errors(),
            vector<CapturedLine>{Error("Index things is not the one that was created for the river any more")});
  EXPECT_EQ(mEs.takeRequests(), (vector<string>{sRefresh, sRead}));
}

TEST_F(IndexRefreshTest, AnotherCreationIsNotOurs) {
  mEs.setMeta("things", "creationdescriptor", string("18_v"));
  EXPECT_EQ(refresh(), StepResult::Failed);
  EXPECT_EQ(errors(),
            vector<CapturedLine>{Error("Index things is not the one that was created for the river any more")});
  EXPECT_EQ(stored("lastrefreshseq"), "5");
}

TEST_F(IndexRefreshTest, ARaisedFlagCancelsSilently) {
  const bool cancelled = true;
  EXPECT_EQ(refresh(9, &cancelled), StepResult::Cancelled);
  EXPECT_TRUE(errors().empty());
  EXPECT_EQ(stored("lastrefreshseq"), "5");
}

}  // namespace qx::couch::test
