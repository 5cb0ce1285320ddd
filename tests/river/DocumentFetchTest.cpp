#include "netweft/river/internal/DocumentFetch.h"

#include "netweft/base/system/qxFlag.h"
#include "netweft/frame/Netweft.h"
#include "netweft/river/internal/BulkCommands.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <string_view>

namespace qx::couch {
namespace {

using test::Error;
using test::LogCapture;

const char* const sRev = "1-0123456789abcdef0123456789abcdef";

/// The decisions about one document, without a server: the completion callback is called as the pump would.
class OnDocumentFetchedTest : public testing::Test {
 protected:
  OnDocumentFetchedTest() {
    initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
    mConnection = std::make_unique<http::HttpMultiConnection>(1);
    mRecord.id = DocumentId("doc");
    mRecord.rev = CdbRev::Parse(sRev);
    mHeaders["etag"] = string("\"") + sRev + "\"";
  }
  ~OnDocumentFetchedTest() override {
    mConnection.reset();
    terminateNetweft();
  }

  void complete(long status, std::string_view body, const string& errorText = "") {
    vector<char> bytesOfBody(body.begin(), body.end());
    OnDocumentFetched(*mConnection, status, errorText, mHeaders, bytesOfBody, &mContext, &mRecord);
  }

  string body() const { return {mRecord.body.data(), mRecord.body.size()}; }

  LogCapture mLog;
  unique_ptr<http::HttpMultiConnection> mConnection;
  ChangeRecord mRecord;
  qxVariantMapImpl mHeaders;
  bool mCancel = false;
  string mDbName = "db";
  FetchContext mContext{.cancelFlag = &mCancel, .dbName = &mDbName, .budget = 1000};
};

TEST_F(OnDocumentFetchedTest, ADocumentOfTheRevisionOfTheFeedIsIndexed) {
  complete(200, R"({"_id":"doc"})");
  EXPECT_EQ(mRecord.action, CA_Index);
  EXPECT_EQ(body(), R"({"_id":"doc"})");
  EXPECT_EQ(mRecord.commandBytes, IndexCommandBytes("doc", 13));
  EXPECT_EQ(mContext.bodyAccumulated, mRecord.commandBytes);
  EXPECT_FALSE(mContext.fetchFailed);
}

TEST_F(OnDocumentFetchedTest, WhatStandsBehindTheLastBraceIsCut) {
  complete(200, "{\"a\":1}\r\n ");
  EXPECT_EQ(body(), "{\"a\":1}");
  EXPECT_EQ(mRecord.commandBytes, IndexCommandBytes("doc", 7));
}

// A batch of thousands of small documents would hold a buffer of 256 KiB for each.
TEST_F(OnDocumentFetchedTest, ASmallDocumentLeavesTheLargeBufferWhereItIs) {
  vector<char> buffer;
  buffer.reserve(262144);
  buffer.assign({'{', '}'});
  OnDocumentFetched(*mConnection, 200, "", mHeaders, buffer, &mContext, &mRecord);
  EXPECT_EQ(body(), "{}");
  EXPECT_LE(mRecord.body.capacity(), 16U);
  EXPECT_GE(buffer.capacity(), 262144U);
}

TEST_F(OnDocumentFetchedTest, ALargeDocumentIsTakenOverWithItsBuffer) {
  vector<char> buffer(1000, 'x');
  buffer.front() = '{';
  buffer.back() = '}';
  const char* const data = buffer.data();
  OnDocumentFetched(*mConnection, 200, "", mHeaders, buffer, &mContext, &mRecord);
  EXPECT_EQ(mRecord.body.data(), data);
  EXPECT_EQ(mRecord.body.size(), 1000U);
}

TEST_F(OnDocumentFetchedTest, AnotherRevisionIsSkippedSinceALaterChangeBringsIt) {
  mHeaders["etag"] = "\"2-0123456789abcdef0123456789abcdef\"";
  complete(200, "{}");
  EXPECT_EQ(mRecord.action, CA_Skip);
  EXPECT_EQ(mRecord.commandBytes, 0U);
  EXPECT_FALSE(mContext.fetchFailed);
}

TEST_F(OnDocumentFetchedTest, ADeletedChangeWhoseDocumentIsThereIsSkipped) {
  mRecord.setDeleted(true);
  complete(200, "{}");
  EXPECT_EQ(mRecord.action, CA_Skip);
}

TEST_F(OnDocumentFetchedTest, AMissingDocumentOfADeletionIsDeleted) {
  mRecord.setDeleted(true);
  complete(404, "");
  EXPECT_EQ(mRecord.action, CA_Delete);
  EXPECT_EQ(mRecord.commandBytes, DeleteCommandBytes("doc"));
}

TEST_F(OnDocumentFetchedTest, AMissingDocumentThatWasNotDeletedIsSkipped) {
  complete(404, "");
  EXPECT_EQ(mRecord.action, CA_Skip);
  EXPECT_EQ(mRecord.commandBytes, 0U);
  EXPECT_TRUE(mLog.getLines().empty());
}

TEST_F(OnDocumentFetchedTest, AnyOtherStatusFailsTheFetch) {
  complete(-1, "", "Curl error 7 refused");
  EXPECT_TRUE(mContext.fetchFailed);
  EXPECT_EQ(mRecord.action, CA_Pending);
  EXPECT_EQ(mLog.getLines(),
            vector{Error("Error while running HEAD request for document doc got -1 Curl error 7 refused in db db")});
}

TEST_F(OnDocumentFetchedTest, ACancelledOneFailsItSilently) {
  StoreFlag(mCancel, true);
  complete(500, "");
  EXPECT_TRUE(mContext.fetchFailed);
  EXPECT_TRUE(mLog.getLines().empty());
}

TEST_F(OnDocumentFetchedTest, AMissingOrShortEtagFailsTheFetch) {
  mHeaders["etag"] = "\"\"";
  complete(200, "{}");
  EXPECT_TRUE(mContext.fetchFailed);
  EXPECT_EQ(mLog.getLines(), vector{Error("Unexpected document revision \"\" for document doc in db db")});
  mLog.clear();
  mHeaders.clear();
  complete(200, "{}");
  EXPECT_EQ(mLog.getLines(), vector{Error("Unexpected document revision  for document doc in db db")});
}

TEST_F(OnDocumentFetchedTest, ABodyWithoutABraceFailsTheFetch) {
  complete(200, "not json");
  EXPECT_TRUE(mContext.fetchFailed);
  EXPECT_EQ(mLog.getLines(), vector{Error("Unexpected document size 0 for document doc in db db")});
}

TEST_F(OnDocumentFetchedTest, ACommandAsLargeAsTheBudgetIsTooHeavyAndDropped) {
  const uint64 size = 1000 - IndexCommandBytes("doc", 0);
  complete(200, "{" + string(size - 2, 'x') + "}");
  EXPECT_EQ(mRecord.action, CA_Skip);
  EXPECT_EQ(mRecord.commandBytes, 0U);
  EXPECT_FALSE(mContext.fetchFailed);
  EXPECT_EQ(mLog.getLines(), vector{Error("Fail to index document 'doc' this document is too heavy 1000B in db db")});
}

TEST_F(OnDocumentFetchedTest, OneByteLessThanTheBudgetFits) {
  const uint64 size = 999 - IndexCommandBytes("doc", 0);
  complete(200, "{" + string(size - 2, 'x') + "}");
  EXPECT_EQ(mRecord.action, CA_Index);
  EXPECT_EQ(mRecord.commandBytes, 999U);
}

TEST_F(OnDocumentFetchedTest, ACommandThatBringsTheSumExactlyToTheBudgetIsAccepted) {
  mContext.bodyAccumulated = 1000 - IndexCommandBytes("doc", 2);
  complete(200, "{}");
  EXPECT_EQ(mRecord.commandBytes, IndexCommandBytes("doc", 2));
  EXPECT_EQ(mContext.bodyAccumulated, 1000U);
}

TEST_F(OnDocumentFetchedTest, ACommandThatFindsNoRoomKeepsItsActionAndDropsTheWaitingRequests) {
  auto waiting = std::make_unique<http::HttpMultiConnection::Request>();
  mConnection->addRequest(waiting);
  mContext.bodyAccumulated = 1001 - IndexCommandBytes("doc", 2);
  complete(200, "{}");
  EXPECT_EQ(mRecord.action, CA_Index);
  EXPECT_EQ(mRecord.commandBytes, 0U);
  EXPECT_TRUE(mConnection->isAllRequestsDone()) << "the waiting request is gone";
  EXPECT_FALSE(mContext.fetchFailed);
}

TEST_F(OnDocumentFetchedTest, ADeleteCountsAgainstTheBudgetToo) {
  mRecord.setDeleted(true);
  mContext.budget = DeleteCommandBytes("doc");
  complete(404, "");
  EXPECT_EQ(mRecord.action, CA_Skip);
}

TEST_F(OnDocumentFetchedTest, DesignDocumentsAreSkippedWithoutARequest) {
  RiverBatch batch;
  batch.dbName = "db";
  batch.records.emplace_back().id = DocumentId("_design/views");
  QueueDocumentRequests(batch, RiverParameters(), *mConnection);
  EXPECT_EQ(batch.records.front().action, CA_Skip);
  EXPECT_TRUE(mConnection->isAllRequestsDone());
}

}  // namespace
}  // namespace qx::couch
