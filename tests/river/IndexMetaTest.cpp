#include "netweft/river/internal/IndexMeta.h"

#include "tests/river/JsonText.h"

namespace qx::couch {
namespace {

using test::FromJson;
using test::ToJson;

TEST(IndexMeta, IsFoundBelowTheNameOfTheIndex) {
  EXPECT_EQ(ToJson(findIndexMeta("a.b", FromJson(R"({"a.b":{"mappings":{"_doc":{"_meta":{"x":1}}}}})"))), R"({"x":1})");
}

TEST(IndexMeta, IsEmptyWhereThereIsNone) {
  for (const string reply :
       {"{}", R"({"other":{"mappings":{"_doc":{"_meta":{"x":1}}}}})", R"({"i":{"mappings":{"_doc":{}}}})",
        R"({"i":{"mappings":{"_doc":{"_meta":5}}}})", R"({"i":{"mappings":{"doc":{"_meta":{"x":1}}}}})"}) {
    EXPECT_EQ(ToJson(findIndexMeta("i", FromJson(reply))), "{}") << reply;
  }
}

TEST(IndexMeta, TheSequenceIsReadFromAnyNumber) {
  EXPECT_EQ(readLastRefreshSeq(FromJson(R"({"lastrefreshseq":9223372036854775807})")), 9223372036854775807ULL);
  EXPECT_EQ(readLastRefreshSeq(FromJson(R"({"lastrefreshseq":"12"})")), 12U);
}

TEST(IndexMeta, WhatIsNoSequenceIsZero) {
  for (const string meta : {"{}", R"({"lastrefreshseq":-1})", R"({"lastrefreshseq":"x"})", R"({"lastrefreshseq":null})",
                            R"({"lastrefreshseq":{}})"}) {
    EXPECT_EQ(readLastRefreshSeq(FromJson(meta)), 0U) << meta;
  }
}

TEST(IndexMeta, ACreationBodyWithoutWishesHoldsTheMetaAlone) {
  EXPECT_EQ(ToJson(buildCreationBody(IndexDefinition())),
            R"({"mappings":{"_doc":{"_meta":{"applicationversion":"","creationdescriptor":"","lastrefreshdate":"",)"
            R"("lastrefreshseq":0,"mappinghash":"vyGp6PvFo4RvsFtPoIWeCReyIC8=","mappingrevision":"",)"
            R"("mappingzip":"AgAAAHjaq64FAAF1APk=","settingshash":"vyGp6PvFo4RvsFtPoIWeCReyIC8=",)"
            R"("sourcedbname":""}}},"settings":{}})");
}

TEST(IndexMeta, AHostsMetaThatIsNoObjectIsReplaced) {
  IndexDefinition definition;
  definition.mapping["_meta"] = 5;
  qxVariantMapImpl reply;
  reply["i"] = buildCreationBody(definition);
  EXPECT_TRUE(findIndexMeta("i", reply).contains("sourcedbname"));
}

TEST(IndexMeta, RenewingChangesWhatDependsOnTheMappingAndStartsOver) {
  qxVariantMapImpl meta =
      FromJson(R"({"a":1,"applicationversion":"7","creationdescriptor":"c","lastrefreshdate":"d","lastrefreshseq":5,)"
               R"("mappinghash":"h","mappingrevision":"r","mappingzip":"z","settingshash":"s","sourcedbname":"db"})");
  IndexDefinition definition;
  definition.mappingRevision = "new";
  renewIndexMeta(definition, meta);
  EXPECT_EQ(ToJson(meta),
            R"({"a":1,"applicationversion":"7","creationdescriptor":"c","lastrefreshdate":"","lastrefreshseq":0,)"
            R"("mappinghash":"vyGp6PvFo4RvsFtPoIWeCReyIC8=","mappingrevision":"new",)"
            R"("mappingzip":"AgAAAHjaq64FAAF1APk=","settingshash":"s","sourcedbname":"db"})");
}

}  // namespace
}  // namespace qx::couch
