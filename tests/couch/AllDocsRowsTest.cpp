#include "netweft/couch/internal/AllDocsRows.h"

#include "netweft/base/json/Json2Variant.h"

#include <gmock/gmock.h>

namespace qx::test {
namespace {

using couch::DeliverAllDocsRows;
using Getter = couch::MultiThreadedDocumentGetter;
using testing::ElementsAre;
using testing::IsEmpty;

/// Each row as `id|document|error|result`.
vector<string> Deliver(const string& text, Getter::DocContent content) {
  qxVariantMapImpl answer;
  EXPECT_TRUE(json::Json2Variant::Convert(text.data(), text.size(), answer));
  vector<string> rows;
  DeliverAllDocsRows(answer, content,
                     [&](const string& id, qxVariantMapImpl& doc, const string& error, Getter::DocumentResult result) {
                       string json;
                       json::Json2Variant::Convert(doc, json, false);
                       rows.push_back(id + "|" + json + "|" + error + "|" + std::to_string(result));
                     });
  return rows;
}

TEST(AllDocsRowsTest, ADocumentIsHandedOver) {
  EXPECT_THAT(
      Deliver(R"({"rows":[{"id":"a","key":"a","value":{"rev":"1-x"},"doc":{"_id":"a","n":1}}]})", Getter::DC_Document),
      ElementsAre(R"(a|{"_id":"a","n":1}||0)"));
}

TEST(AllDocsRowsTest, RowsKeepTheirOrder) {
  EXPECT_THAT(Deliver(R"({"rows":[{"key":"b","doc":{}},{"key":"a","doc":{}}]})", Getter::DC_Document),
              ElementsAre("b|{}||0", "a|{}||0"));
}

TEST(AllDocsRowsTest, ADeletedDocumentIsFoundAndEmpty) {
  EXPECT_THAT(Deliver(R"({"rows":[{"id":"a","key":"a","value":{"rev":"2-x","deleted":true},"doc":null}]})",
                      Getter::DC_DocumentWithAttachments),
              ElementsAre("a|{}||0"));
}

TEST(AllDocsRowsTest, ARowWithoutDocumentIsFoundAndEmpty) {
  EXPECT_THAT(Deliver(R"({"rows":[{"key":"a"}]})", Getter::DC_Document), ElementsAre("a|{}||0"));
}

TEST(AllDocsRowsTest, IdAndRevisionAreReadFromTheRow) {
  EXPECT_THAT(Deliver(R"({"rows":[{"id":"a","key":"a","value":{"rev":"1-x"}}]})", Getter::DC_IdAndRev),
              ElementsAre(R"(a|{"_id":"a","_rev":"1-x"}||0)"));
}

TEST(AllDocsRowsTest, AValueWithoutRevisionGivesAnEmptyOne) {
  EXPECT_THAT(Deliver(R"({"rows":[{"key":"a","value":{}}]})", Getter::DC_IdAndRev),
              ElementsAre(R"(a|{"_id":"a","_rev":""}||0)"));
}

TEST(AllDocsRowsTest, ARowWithoutValueHasARevisionThatHoldsNothing) {
  for (const char* text : {R"({"rows":[{"key":"a"}]})", R"({"rows":[{"key":"a","value":7}]})"}) {
    qxVariantMapImpl answer;
    ASSERT_TRUE(json::Json2Variant::Convert(text, strlen(text), answer));
    int calls = 0;
    DeliverAllDocsRows(answer, Getter::DC_IdAndRev,
                       [&](const string&, qxVariantMapImpl& doc, const string&, Getter::DocumentResult) {
                         ++calls;
                         EXPECT_EQ(doc.size(), 2u);
                         ASSERT_TRUE(doc.contains("_rev"));
                         EXPECT_EQ(doc["_rev"].getType(), qxVariant::VT_Absent);
                       });
    EXPECT_EQ(calls, 1);
  }
}

TEST(AllDocsRowsTest, AnErrorComesInTheServersWords) {
  EXPECT_THAT(
      Deliver(R"({"rows":[{"key":"a","error":"not_found"},{"key":"b","error":{"why":1}}]})", Getter::DC_IdAndRev),
      ElementsAre("a|{}|not_found|2", R"(b|{}|{"why":1}|2)"));
}

TEST(AllDocsRowsTest, AnErrorOutweighsADocument) {
  EXPECT_THAT(Deliver(R"({"rows":[{"key":"a","error":"e","doc":{"n":1}}]})", Getter::DC_Document),
              ElementsAre("a|{}|e|2"));
}

TEST(AllDocsRowsTest, ARowWithoutKeyHasAnEmptyId) {
  EXPECT_THAT(Deliver(R"({"rows":[{"id":"a","doc":{}}]})", Getter::DC_Document), ElementsAre("|{}||0"));
}

TEST(AllDocsRowsTest, EntriesThatAreNoRowsArePassedOver) {
  EXPECT_THAT(Deliver(R"({"rows":[null,7,"a",[],{"key":"a","doc":{}}]})", Getter::DC_Document), ElementsAre("a|{}||0"));
}

TEST(AllDocsRowsTest, AnAnswerWithoutAListOfRowsHasNone) {
  EXPECT_THAT(Deliver("{}", Getter::DC_Document), IsEmpty());
  EXPECT_THAT(Deliver(R"({"rows":{"key":"a"}})", Getter::DC_Document), IsEmpty());
}

}  // namespace
}  // namespace qx::test
