#include "netweft/river/internal/BulkPosting.h"

#include "netweft/base/system/qxFlag.h"
#include "netweft/frame/Netweft.h"
#include "netweft/http/HttpConnection.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

namespace qx::couch {
namespace {

using test::Error;
using test::LogCapture;

TEST(JudgeBulkReplyTest, ErrorsFalseIsASuccessWhateverTheItemsSay) {
  LogCapture log;
  EXPECT_EQ(JudgeBulkReply(R"({"took":3,"errors":false,"items":[{"index":{"error":1}}]})", nullptr), StepResult::Done);
  EXPECT_TRUE(log.getLines().empty());
}

TEST(JudgeBulkReplyTest, MissingErrorsCountAsTrue) {
  LogCapture log;
  EXPECT_EQ(JudgeBulkReply(R"({"items":[{"index":{"status":200}}]})", nullptr), StepResult::Failed);
}

TEST(JudgeBulkReplyTest, StatusesOfSuccessAreNotLogged) {
  LogCapture log;
  const char* reply =
      R"({"errors":true,"items":[{"index":{"status":200}},{"index":{"status":201}},{"delete":{"status":404}}]})";
  EXPECT_EQ(JudgeBulkReply(reply, nullptr), StepResult::Failed);
  EXPECT_TRUE(log.getLines().empty());
}

TEST(JudgeBulkReplyTest, EachBadItemIsLoggedWithItsOutcome) {
  LogCapture log;
  const char* reply =
      R"({"errors":true,"items":[{"index":{"_id":"a","status":400,"error":{"type":"t"}}},{"delete":{"_id":"b","status":500}},)"
      R"({"index":{"_id":"c","status":200,"error":"odd"}}]})";
  EXPECT_EQ(JudgeBulkReply(reply, nullptr), StepResult::Failed);
  EXPECT_EQ(log.getLines(),
            (vector{Error(R"(Error during bulk operation 'index' {"_id":"a","error":{"type":"t"},"status":400})"),
                    Error(R"(Error during bulk operation 'delete' {"_id":"b","status":500})"),
                    Error(R"(Error during bulk operation 'index' {"_id":"c","error":"odd","status":200})")}));
}

class UnexpectedItemTest : public testing::TestWithParam<const char*> {};

TEST_P(UnexpectedItemTest, EndsTheWalkWithTheWholeReply) {
  LogCapture log;
  const string reply = string(R"({"errors":true,"items":[)") + GetParam() + R"(,{"index":{"status":500}}]})";
  EXPECT_EQ(JudgeBulkReply(reply, nullptr), StepResult::Failed);
  EXPECT_EQ(log.getLines(), vector{Error("Unexpected bulk result " + reply)});
}

INSTANTIATE_TEST_SUITE_P(Shapes, UnexpectedItemTest,
                         testing::Values("1", "null", "[]", "{}", R"({"index":{"status":200},"x":{}})",
                                         R"({"index":5})"));

class UnusableReplyTest : public testing::TestWithParam<const char*> {};

TEST_P(UnusableReplyTest, FailsTheBatchWithALine) {
  LogCapture log;
  EXPECT_EQ(JudgeBulkReply(GetParam(), nullptr), StepResult::Failed);
  EXPECT_EQ(log.getLines(), vector{Error(string("Unexpected bulk result ") + GetParam())});
}

INSTANTIATE_TEST_SUITE_P(Shapes, UnusableReplyTest,
                         testing::Values("", "{", "[]", "{}", R"({"errors":true})", R"({"errors":true,"items":[]})",
                                         R"({"errors":true,"items":{}})", R"({"errors":"upstream gave up"})",
                                         R"({"errors":"false"})", R"({"errors":""})", R"({"errors":0})",
                                         R"({"errors":null})", R"({"errors":[]})", R"({"errors":{}})"));

TEST(JudgeBulkReplyTest, ARaisedFlagEndsTheWalkSilently) {
  LogCapture log;
  bool cancel = false;
  StoreFlag(cancel, true);
  EXPECT_EQ(JudgeBulkReply(R"({"errors":true,"items":[{"index":{"status":500}}]})", &cancel), StepResult::Cancelled);
  EXPECT_TRUE(log.getLines().empty());
}

TEST(JudgeBulkReplyTest, AHugeReplyIsCutInTheLine) {
  LogCapture log;
  JudgeBulkReply(R"({"errors":true,"items":[5,")" + string(1'000'000, 'x') + "\"]}", nullptr);
  ASSERT_EQ(log.getLines().size(), 1U);
  EXPECT_LT(log.getLines().front().text.size(), 8000U);
}

TEST(PostBulkTest, AnEmptyBodyIsNotPosted) {
  http::HttpConnection connection(false);
  elasticsearch::ESConnectionParameters es;
  EXPECT_EQ(PostBulk(connection, es, "i", bytes(), 0, nullptr), StepResult::Done);
  EXPECT_EQ(connection.getLastErrorMsg(), "");
}

TEST(PostBulkTest, ABodyOverTheReservedSumIsTooLargeAndNotPosted) {
  LogCapture log;
  http::HttpConnection connection(false);
  elasticsearch::ESConnectionParameters es;
  EXPECT_EQ(PostBulk(connection, es, "i", bytes(11, 'x'), 10, nullptr), StepResult::TooLarge);
  EXPECT_EQ(log.getLines(), vector{Error("Fail to index document, because document is too large")});
  EXPECT_EQ(connection.getLastErrorMsg(), "");
}

}  // namespace
}  // namespace qx::couch
