#include "netweft/river/internal/BulkGenerator.h"

#include "netweft/river/internal/BulkCommands.h"
#include "netweft/river/internal/DocumentFetch.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <string_view>

namespace qx::couch {
namespace {

using test::Error;
using test::LogCapture;

string Text(const bytes& body) { return {body.data(), body.size()}; }

bytes Bytes(std::string_view text) { return {text.begin(), text.end()}; }

class BulkGeneratorTest : public testing::Test {
 protected:
  explicit BulkGeneratorTest(const vector<string>& indexNames = {"i"}) {
    for (const string& name : indexNames) mBatch.indexes.push_back({name, ""});
    mBatch.reservedBytes = 100'000;
  }

  ChangeRecord& add(const string& id, ChangeAction action, std::string_view body) {
    ChangeRecord& record = mBatch.records.emplace_back();
    record.id = DocumentId(id);
    record.action = action;
    record.body = Bytes(body);
    record.commandBytes = action == CA_Delete ? DeleteCommandBytes(id) : IndexCommandBytes(id, record.body.size());
    return record;
  }

  bool generate() {
    BulkGenerator generator(mBatch, mParameters, mBodies);
    for (ChangeRecord& record : mBatch.records) {
      if (!generator.generate(record)) return false;
    }
    mCommands = generator.getCommandCount();
    mBytes = generator.getGeneratedBytes();
    return true;
  }

  string body(size_t index) const { return Text(mBodies[index]); }

  RiverBatch mBatch;
  RiverParameters mParameters;
  vector<bytes> mBodies;
  uint64 mCommands = 0;
  uint64 mBytes = 0;
};

class TwoIndexesTest : public BulkGeneratorTest {
 protected:
  TwoIndexesTest() : BulkGeneratorTest({"a", "b"}) {}
};

TEST_F(BulkGeneratorTest, AnIndexCommandIsAHeaderAndTheDocument) {
  add("d", CA_Index, R"({"_id":"d","_rev":"1-x","n":1})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "{\"index\":{\"_id\":\"d\"}}\n{\"-id\":\"d\",\"_rev\":\"1-x\",\"n\":1}\n");
  EXPECT_EQ(mCommands, 1U);
}

TEST_F(BulkGeneratorTest, ADeleteCommandIsAHeaderAlone) {
  add("d", CA_Delete, "");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "{\"delete\":{\"_id\":\"d\"}}\n");
}

TEST_F(BulkGeneratorTest, SkippedRecordsGiveNothing) {
  add("d", CA_Skip, "whatever");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "");
  EXPECT_EQ(mCommands, 0U);
}

TEST_F(BulkGeneratorTest, AnIdIsEscapedInBothHeaders) {
  const string id("a\"\\\0\n\xC3\xA9", 7);
  add(id, CA_Delete, "");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "{\"delete\":{\"_id\":\"a\\\"\\\\\\u0000\\n\xC3\xA9\"}}\n");
  EXPECT_EQ(body(0).size(), DeleteCommandBytes(id));
}

TEST_F(BulkGeneratorTest, CommandBytesAreTheBytesOfTheLines) {
  const string id("a\"b/\x01", 5);
  ChangeRecord& record = add(id, CA_Index, R"({"n":1})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0).size(), record.commandBytes);
  EXPECT_EQ(mBytes, record.commandBytes);
}

TEST_F(BulkGeneratorTest, OnlyTheFirstIdIsRenamed) {
  add("d", CA_Index, R"({"_id":"d","sub":{"_id":"inner"}})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "{\"index\":{\"_id\":\"d\"}}\n{\"-id\":\"d\",\"sub\":{\"_id\":\"inner\"}}\n");
}

TEST_F(BulkGeneratorTest, AnIdThatOnlyStandsInAValueIsRenamedThere) {
  add("d", CA_Index, R"({"what":"_id","x":1})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "{\"index\":{\"_id\":\"d\"}}\n{\"what\":\"-id\",\"x\":1}\n");
}

TEST_F(BulkGeneratorTest, ADocumentWithoutOneIsLeftAlone) {
  add("d", CA_Index, R"({"x":1})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "{\"index\":{\"_id\":\"d\"}}\n{\"x\":1}\n");
}

TEST_F(BulkGeneratorTest, ContentsAndResourcesAreDroppedAtTheTopLevelAlone) {
  add("d", CA_Index, R"({"contents":[1,2],"resources":{"a":1},"sub":{"contents":1,"resources":2}})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "{\"index\":{\"_id\":\"d\"}}\n{\"sub\":{\"contents\":1,\"resources\":2}}\n");
}

TEST_F(BulkGeneratorTest, NumbersOfEverySpellingAreKept) {
  add("d", CA_Index, R"({"a":1e400,"b":123456789012345678901234567890,"c":-0.10,"d":-0.0})");
  ASSERT_TRUE(generate());
  EXPECT_NE(body(0).find(R"({"a":1e400,"b":123456789012345678901234567890,"c":-0.10,"d":-0.0})"), string::npos)
      << body(0);
}

TEST_F(BulkGeneratorTest, ATextThatWouldNotFitIsSentAsItWas) {
  mBatch.reservedBytes = 5;
  add("d", CA_Index, R"({ "b":1, "a":2 })");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "{\"index\":{\"_id\":\"d\"}}\n{ \"b\":1, \"a\":2 }\n");
}

TEST_F(BulkGeneratorTest, ADocumentThatIsNoJsonFailsWithItsName) {
  LogCapture log;
  add("broken", CA_Index, R"({"a":})");
  EXPECT_FALSE(generate());
  EXPECT_EQ(log.getLines(), vector{Error("Fail to parse document broken")});
}

TEST_F(BulkGeneratorTest, RoomForTheWholeBatchIsReservedOnceAndKept) {
  add("d", CA_Delete, "");
  ASSERT_TRUE(generate());
  EXPECT_GE(mBodies[0].capacity(), 100'000U);
  const char* storage = mBodies[0].data();
  ASSERT_TRUE(generate());
  EXPECT_EQ(mBodies[0].data(), storage);
}

TEST_F(BulkGeneratorTest, BatchesOfABitMoreUseTheSameRoom) {
  add("d", CA_Delete, "");
  ASSERT_TRUE(generate());
  const char* storage = mBodies[0].data();
  mBatch.reservedBytes = 200'000;
  ASSERT_TRUE(generate());
  EXPECT_EQ(mBodies[0].data(), storage);
  mBatch.reservedBytes = 3'000'000;
  ASSERT_TRUE(generate());
  EXPECT_GE(mBodies[0].capacity(), 3'000'000U);
}

TEST_F(BulkGeneratorTest, TheDocumentIsFreedWhateverBecameOfIt) {
  add("a", CA_Index, R"({"a":1})");
  add("b", CA_Skip, R"({"a":1})");
  ASSERT_TRUE(generate());
  for (const ChangeRecord& record : mBatch.records) EXPECT_EQ(record.body.capacity(), 0U);
}

TEST_F(TwoIndexesTest, TheSecondIndexGetsTheNextIdRenamedToo) {
  add("d", CA_Index, R"({"_id":"d","sub":{"_id":"inner","x":{"_id":"deep"}}})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0),
            "{\"index\":{\"_id\":\"d\"}}\n{\"-id\":\"d\",\"sub\":{\"_id\":\"inner\",\"x\":{\"_id\":\"deep\"}}}\n");
  EXPECT_EQ(body(1),
            "{\"index\":{\"_id\":\"d\"}}\n{\"-id\":\"d\",\"sub\":{\"-id\":\"inner\",\"x\":{\"_id\":\"deep\"}}}\n");
}

TEST_F(TwoIndexesTest, WithOneIdBothIndexesGetTheSame) {
  add("d", CA_Index, R"({"_id":"d","x":1})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), body(1));
}

TEST_F(TwoIndexesTest, TheNextIdIsSearchedInTheSortedText) {
  // As it came, the nested name stands behind "z"; sorted, it stands in front of it.
  add("d", CA_Index, R"({"_id":"d","z":"_id","a":{"_id":1}})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(1), "{\"index\":{\"_id\":\"d\"}}\n{\"-id\":\"d\",\"a\":{\"-id\":1},\"z\":\"_id\"}\n");
}

TEST_F(TwoIndexesTest, DeletesGoToBothAndAreCountedForBoth) {
  const ChangeRecord& record = add("d", CA_Delete, "");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), body(1));
  EXPECT_EQ(mCommands, 2U);
  EXPECT_EQ(mBytes, 2 * record.commandBytes);
}

TEST_F(TwoIndexesTest, AFilterDecidesIndexByIndex) {
  mParameters.documentFilter = [](qxVariantMapImpl& document, const string& indexName) {
    return indexName == "b" && document.getInteger("n", 0) == 1;
  };
  add("d", CA_Index, R"({"_id":"d","n":1})");
  add("e", CA_Index, R"({"_id":"e","n":2})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "");
  EXPECT_EQ(body(1), "{\"index\":{\"_id\":\"d\"}}\n{\"-id\":\"d\",\"n\":1}\n");
  EXPECT_EQ(mCommands, 1U);
}

TEST_F(TwoIndexesTest, AnIndexThatWasPassedOverRenamesNothing) {
  mParameters.documentFilter = [](qxVariantMapImpl&, const string& indexName) { return indexName == "b"; };
  add("d", CA_Index, R"({"_id":"d","sub":{"_id":"inner"}})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(1), "{\"index\":{\"_id\":\"d\"}}\n{\"-id\":\"d\",\"sub\":{\"_id\":\"inner\"}}\n");
}

TEST_F(TwoIndexesTest, TheFilterSeesTheDocumentBeforeTheRename) {
  mParameters.documentFilter = [](qxVariantMapImpl& document, const string&) { return document.contains("_id"); };
  add("d", CA_Index, R"({"_id":"d"})");
  ASSERT_TRUE(generate());
  EXPECT_NE(body(0), "");
  EXPECT_NE(body(1), "");
}

TEST_F(TwoIndexesTest, WhatTheFilterChangesIsNotSent) {
  mParameters.documentFilter = [](qxVariantMapImpl& document, const string&) {
    document["secret"] = "added";
    return !document.remove("n") || true;
  };
  add("d", CA_Index, R"({"_id":"d","n":1})");
  ASSERT_TRUE(generate());
  EXPECT_EQ(body(0), "{\"index\":{\"_id\":\"d\"}}\n{\"-id\":\"d\",\"n\":1}\n");
  EXPECT_EQ(body(1), body(0));
}

TEST(RenameFirstIdTest, LooksThroughTheWholeText) {
  bytes body = Bytes(R"({"a":"_id"})");
  EXPECT_TRUE(RenameFirstId(body));
  EXPECT_EQ(Text(body), R"({"a":"-id"})");
  EXPECT_FALSE(RenameFirstId(body));
  bytes empty;
  EXPECT_FALSE(RenameFirstId(empty));
  bytes shorter = Bytes(R"("_id)");
  EXPECT_FALSE(RenameFirstId(shorter));
}

class TrimBatchTest : public testing::Test {
 protected:
  void add(ChangeAction action, uint64 commandBytes) {
    ChangeRecord& record = mBatch.records.emplace_back();
    record.id = DocumentId("d" + std::to_string(mBatch.records.size()));
    record.action = action;
    record.commandBytes = commandBytes;
  }

  RiverBatch mBatch;
};

TEST_F(TrimBatchTest, WithRoomEverythingStays) {
  add(CA_Index, 10);
  add(CA_Skip, 0);
  add(CA_Delete, 20);
  EXPECT_TRUE(TrimBatch(mBatch, 31).empty());
  EXPECT_EQ(mBatch.reservedBytes, 30U);
}

TEST_F(TrimBatchTest, TheRecordThatBringsTheSumToTheLimitLeavesWithAllBehindIt) {
  add(CA_Index, 10);
  add(CA_Index, 20);
  add(CA_Skip, 0);
  const list<ChangeRecord> left = TrimBatch(mBatch, 30);
  EXPECT_EQ(mBatch.records.size(), 1U);
  EXPECT_EQ(mBatch.reservedBytes, 10U);
  ASSERT_EQ(left.size(), 2U);
  EXPECT_EQ(left.front().id.toString(), "d2");
}

TEST_F(TrimBatchTest, ARecordThatWasNotFetchedLeavesWithAllBehindIt) {
  add(CA_Index, 10);
  add(CA_Pending, 0);
  add(CA_Index, 10);
  EXPECT_EQ(TrimBatch(mBatch, 1000).size(), 2U);
  EXPECT_EQ(mBatch.reservedBytes, 10U);
}

TEST_F(TrimBatchTest, ARecordThatFoundNoRoomInTheFetchStays) {
  add(CA_Index, 10);
  add(CA_Index, 0);
  EXPECT_TRUE(TrimBatch(mBatch, 11).empty());
  EXPECT_EQ(mBatch.records.size(), 2U);
}

}  // namespace
}  // namespace qx::couch
