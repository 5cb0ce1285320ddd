#include "netweft/couch/internal/FeedLine.h"

#include "netweft/base/json/Json2Variant.h"

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>

namespace qx::test {
namespace {

using namespace couch;
using testing::ElementsAre;
using testing::IsEmpty;

qxVariantMapImpl Parse(const string& json) {
  qxVariantMapImpl line;
  EXPECT_TRUE(json::Json2Variant::Convert(json.data(), json.size(), line)) << json;
  return line;
}

DatabaseLineKind Classify(const string& json) {
  int64 seq = 0;
  return ClassifyDatabaseLine(Parse(json), seq);
}

int64 ReadSeq(const string& json) {
  int64 seq = 77;
  ClassifyDatabaseLine(Parse(json), seq);
  return seq;
}

ChangesListener::CallbackParam Change(const string& json) {
  ChangesListener::CallbackParam param;
  param.revisions = {"left over"};
  ReadChange(Parse(json), param);
  return param;
}

/// The last four names' worth of a server event.
struct ServerEvent {
  explicit ServerEvent(const string& json) : reported(ReadServerEvent(Parse(json), msg, param)) {}

  ChangesListener::CallbackMsg msg = ChangesListener::CM_Heartbeat;
  ChangesListener::CallbackParam param;
  bool reported;
};

TEST(ClassifyDatabaseLineTest, ASequenceMakesAChange) {
  EXPECT_EQ(Classify(R"({"seq":12,"id":"a","changes":[]})"), DLK_Change);
  EXPECT_EQ(ReadSeq(R"({"seq":12})"), 12);
  EXPECT_EQ(ReadSeq(R"({"seq":9223372036854775807})"), std::numeric_limits<int64>::max());
}

TEST(ClassifyDatabaseLineTest, ASequenceOfAnotherTypeCountsAsItsNumber) {
  EXPECT_EQ(ReadSeq(R"({"seq":"34"})"), 34);
  EXPECT_EQ(ReadSeq(R"({"seq":"34-g1AAAA"})"), 0);
  EXPECT_EQ(ReadSeq(R"({"seq":null})"), 0);
  EXPECT_EQ(ReadSeq(R"({"seq":[12,"x"]})"), 0);
  EXPECT_EQ(ReadSeq(R"({"seq":{"a":1}})"), 0);
  EXPECT_EQ(ReadSeq(R"({"seq":12.9})"), 12);
  EXPECT_EQ(ReadSeq(R"({"seq":1e400})"), std::numeric_limits<int64>::max());
  EXPECT_EQ(Classify(R"({"seq":null})"), DLK_Change);
}

TEST(ClassifyDatabaseLineTest, ANegativeSequenceIsInvalid) {
  EXPECT_EQ(Classify(R"({"seq":-1})"), DLK_InvalidSeq);
  EXPECT_EQ(ReadSeq(R"({"seq":-1})"), -1);
}

TEST(ClassifyDatabaseLineTest, ASequenceCountsMoreThanAnError) {
  EXPECT_EQ(Classify(R"({"seq":1,"error":"x","reason":"no_db_file"})"), DLK_Change);
}

TEST(ClassifyDatabaseLineTest, AnErrorIsToldFromAMissingDatabase) {
  EXPECT_EQ(Classify(R"({"error":"not_found","reason":"no_db_file"})"), DLK_DatabaseMissing);
  EXPECT_EQ(Classify(R"({"error":"not_found","reason":"Database does not exist."})"), DLK_Error);
  EXPECT_EQ(Classify(R"({"error":"unauthorized","reason":"Name or password is incorrect."})"), DLK_Error);
  EXPECT_EQ(Classify(R"({"error":null})"), DLK_Error);
  EXPECT_EQ(Classify(R"({"error":"x","reason":["no_db_file"]})"), DLK_Error);
}

TEST(ClassifyDatabaseLineTest, AnyOtherLineSaysNothing) {
  EXPECT_EQ(Classify(R"({"last_seq":12,"pending":0})"), DLK_Nothing);
  EXPECT_EQ(Classify("{}"), DLK_Nothing);
  EXPECT_EQ(Classify(R"({"reason":"no_db_file"})"), DLK_Nothing);
}

TEST(ReadErrorTextTest, TheServersWordStandsBehindItsMark) {
  EXPECT_EQ(ReadErrorText(Parse(R"({"error":"not_found","reason":"x"})")), "Change feed error : not_found");
  EXPECT_EQ(ReadErrorText(Parse(R"({"error":{"a":[1]}})")), "Change feed error : {\"a\":[1]}");
}

TEST(ReadChangeTest, IdRevisionsAndDeletionAreRead) {
  const auto param = Change(R"({"seq":1,"id":"doc \u00e9","changes":[{"rev":"2-b"},{"rev":"1-a"}],"deleted":true})");
  EXPECT_EQ(param.docId, "doc \xC3\xA9");
  EXPECT_THAT(param.revisions, ElementsAre("2-b", "1-a"));
  EXPECT_TRUE(param.deleted);
}

TEST(ReadChangeTest, WhatIsAbsentIsEmpty) {
  const auto param = Change(R"({"seq":1})");
  EXPECT_EQ(param.docId, "");
  EXPECT_THAT(param.revisions, IsEmpty());
  EXPECT_FALSE(param.deleted);
}

TEST(ReadChangeTest, AnIdOfAnotherTypeIsEmpty) {
  EXPECT_EQ(Change(R"({"seq":1,"id":12})").docId, "");
  EXPECT_EQ(Change(R"({"seq":1,"id":["a"]})").docId, "");
}

TEST(ReadChangeTest, ChangesOfAnotherTypeAreNone) {
  EXPECT_THAT(Change(R"({"seq":1,"changes":{"rev":"1-a"}})").revisions, IsEmpty());
  EXPECT_THAT(Change(R"({"seq":1,"changes":"1-a"})").revisions, IsEmpty());
}

TEST(ReadChangeTest, EntriesThatAreNoObjectArePassedOver) {
  EXPECT_THAT(Change(R"({"changes":["1-a",{"rev":"2-b"},null,[{"rev":"x"}],{"other":1},{"rev":3}]})").revisions,
              ElementsAre("2-b", "", "3"));
}

TEST(ReadChangeTest, DeletionOfAnotherTypeCountsByItsTruth) {
  EXPECT_TRUE(Change(R"({"deleted":"true"})").deleted);
  EXPECT_TRUE(Change(R"({"deleted":1})").deleted);
  EXPECT_FALSE(Change(R"({"deleted":0})").deleted);
  EXPECT_FALSE(Change(R"({"deleted":null})").deleted);
}

TEST(ReadServerEventTest, DatabasesComeGoAndChange) {
  EXPECT_EQ(ServerEvent(R"({"type":"created","db_name":"shop"})").msg, ChangesListener::CM_DbCreated);
  EXPECT_EQ(ServerEvent(R"({"type":"deleted","db_name":"shop"})").msg, ChangesListener::CM_DbDeleted);
  const ServerEvent updated(R"({"type":"updated","db_name":"shop","seq":"5-x"})");
  EXPECT_TRUE(updated.reported);
  EXPECT_EQ(updated.msg, ChangesListener::CM_DbUpdated);
  EXPECT_EQ(updated.param.dbName, "shop");
  EXPECT_EQ(updated.param.docId, "");
  EXPECT_EQ(updated.param.seq, 0);
}

TEST(ReadServerEventTest, AnythingElseIsNotReported) {
  EXPECT_FALSE(ServerEvent(R"({"type":"compacted","db_name":"shop"})").reported);
  EXPECT_FALSE(ServerEvent(R"({"db_name":"shop"})").reported);
  EXPECT_FALSE(ServerEvent(R"({"type":null})").reported);
  EXPECT_FALSE(ServerEvent(R"({"error":"unauthorized","reason":"x"})").reported);
}

TEST(ReadServerEventTest, ANameThatIsAbsentIsEmpty) {
  const ServerEvent event(R"({"type":"created"})");
  EXPECT_TRUE(event.reported);
  EXPECT_EQ(event.param.dbName, "");
}

/// The document that an update of a design document names, by its compound name.
string DesignDocument(const string& compoundName) {
  qxVariantMapImpl line;
  line["type"] = "ddoc_updated";
  line["db_name"] = compoundName.c_str();
  ChangesListener::CallbackMsg msg{};
  ChangesListener::CallbackParam param;
  EXPECT_TRUE(ReadServerEvent(line, msg, param));
  EXPECT_EQ(msg, ChangesListener::CM_DbDesignDocUpdated);
  EXPECT_EQ(param.dbName, compoundName);
  return param.docId;
}

TEST(DesignDocumentUpdateTest, TheDocumentIsCutOutOfTheNameAndTheNameStaysWhole) {
  EXPECT_EQ(DesignDocument(R"({<<"shop">>,<<"_design/views">>})"), "_design/views");
}

TEST(DesignDocumentUpdateTest, TheFirstSeparatorCuts) {
  EXPECT_EQ(DesignDocument(R"({<<"a">>,<<"b">>,<<"c">>})"), R"(b">>,<<"c)");
}

TEST(DesignDocumentUpdateTest, WithoutASeparatorThereIsNoDocument) { EXPECT_EQ(DesignDocument(R"({<<"shop">>})"), ""); }

TEST(DesignDocumentUpdateTest, TheWrappingIsNotSearched) {
  EXPECT_EQ(DesignDocument(R"(1234">>,<<"5678)"), "");
  EXPECT_EQ(DesignDocument(R"(123">>,<<"x5678)"), "");
  EXPECT_EQ(DesignDocument(R"(1234x">>,<<"678)"), "");
}

TEST(DesignDocumentUpdateTest, NamesOfFourToEightBytesHoldNoDocument) {
  for (const char* name : {"1234", "12345", "123456", "1234567", "12345678", "123456789"}) {
    EXPECT_EQ(DesignDocument(name), "") << name;
  }
}

TEST(DesignDocumentUpdateTest, ANameShorterThanItsWrappingIsOutOfRange) {
  for (const char* name : {"", "1", "123"}) {
    try {
      DesignDocument(name);
      ADD_FAILURE() << name;
    } catch (const std::out_of_range& error) {
      EXPECT_STREQ(error.what(), "invalid string position");
    }
  }
}

}  // namespace
}  // namespace qx::test
