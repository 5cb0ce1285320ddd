#include "tests/river/IndexLifecycleFixture.h"

namespace qx::couch::test {
namespace {

/// The causes that let an index be dropped and built anew.
class IndexLifecycleRecreationTest : public IndexLifecycleFixture {
 protected:
  /// An opening that must drop the standing index, with nothing in the log before the creation but `cause`.
  void expectRecreation(const CapturedLine& cause) {
    const string before = uuid();
    EXPECT_TRUE(ensure());
    EXPECT_EQ(mEs.takeRequests(), inspectionAndRecreation());
    EXPECT_NE(uuid(), before);
    EXPECT_EQ(mStartSeq, 0U);
    EXPECT_EQ(mDescriptors.at("things"), entry().creationDescriptor);
    EXPECT_EQ(meta("creationdescriptor"), entry().creationDescriptor);
    EXPECT_EQ(mLog.getLines(),
              (vector{cause, Detail("esriver", "db => create idx things with mapping " + mEs.getBody("PUT /things"))}));
  }

  static CapturedLine mismatch(const string& current, const string& stored) {
    return Warning("creationdescriptor missmatch for index 'things' got '" + current + "' / '" + stored + "'");
  }
  static CapturedLine incompatible(const string& reason) {
    return Detail("esriver", "db => index 'things' should be recreated, reason : " + reason);
  }
  const CapturedLine mObsolete =
      Detail("esriver", "db => index should be recreated, settings or version were updated things");
};

TEST_F(IndexLifecycleRecreationTest, AnIndexWithoutMeta) {
  createAt(42);
  mEs.removeMeta("things");
  expectRecreation(mismatch("1700000000001_uuid-1", ""));
}

TEST_F(IndexLifecycleRecreationTest, AnIndexThatSomebodyElseHasCreated) {
  createAt(42);
  FakeElasticsearch::Index index = mEs.getIndex("things");
  index.uuid = "foreign";
  mEs.setIndex("things", index);
  expectRecreation(mismatch("1700000000001_foreign", "1700000000001_uuid-1"));
}

TEST_F(IndexLifecycleRecreationTest, AnIndexCaughtInTheMiddleOfItsCreation) {
  createAt(42);
  mEs.setMeta("things", "creationdescriptor", "");
  expectRecreation(mismatch("1700000000001_uuid-1", ""));
}

TEST_F(IndexLifecycleRecreationTest, AnIndexWhoseSettingsNameNoCreation) {
  createAt(42);
  mEs.setMeta("things", "creationdescriptor", "");
  mEs.answer("GET /things/_settings", Reply::Json(200, "{}"));
  expectRecreation(mismatch("", ""));
}

TEST_F(IndexLifecycleRecreationTest, AnIndexWhoseSettingsAreGone) {
  createAt(42);
  mEs.answer("GET /things/_settings", Reply::Json(404, R"({"error":"no such index"})"));
  expectRecreation(mismatch("", "1700000000001_uuid-1"));
}

TEST_F(IndexLifecycleRecreationTest, AnIndexWhoseMappingIsAnEmptyReply) {
  createAt(42);
  mEs.answer("GET /things/_mapping", Reply::Json(200, ""));
  expectRecreation(mismatch("1700000000001_uuid-1", ""));
}

TEST_F(IndexLifecycleRecreationTest, AnotherApplicationVersion) {
  createAt(42);
  definition().applicationVersion = "8";
  expectRecreation(mObsolete);
}

TEST_F(IndexLifecycleRecreationTest, OtherSettings) {
  createAt(42);
  definition().settings = FromJson(R"({"index":{"number_of_shards":2}})");
  expectRecreation(mObsolete);
}

TEST_F(IndexLifecycleRecreationTest, AnotherSourceDatabase) {
  createAt(42);
  mEs.setMeta("things", "sourcedbname", "elsewhere");
  expectRecreation(mObsolete);
}

TEST_F(IndexLifecycleRecreationTest, StampsThatAreMissing) {
  createAt(42);
  FakeElasticsearch::Index index = mEs.getIndex("things");
  index.mapping["_meta"].editMap().remove("settingshash");
  mEs.setIndex("things", index);
  expectRecreation(mObsolete);
}

TEST_F(IndexLifecycleRecreationTest, AChangedAttributeOfTheMapping) {
  createAt(42);
  definition().mapping["dynamic"] = true;
  expectRecreation(incompatible("property attribute '/dynamic' changed"));
}

TEST_F(IndexLifecycleRecreationTest, ANewPropertyWhereDynamicIsNotStated) {
  definition().mapping = FromJson(R"({"properties":{"title":{"type":"text"}}})");
  createAt(42);
  definition().mapping = FromJson(R"({"properties":{"n":{"type":"long"},"title":{"type":"text"}}})");
  expectRecreation(incompatible("property '/n' added into a dynamic branch"));
}

TEST_F(IndexLifecycleRecreationTest, APropertyOfAnotherType) {
  createAt(42);
  definition().mapping = FromJson(R"({"dynamic":false,"properties":{"title":{"type":"keyword"}}})");
  expectRecreation(incompatible("property attribute '/properties/title/type' changed"));
}

TEST_F(IndexLifecycleRecreationTest, AStoredMappingThatCannotBeRead) {
  createAt(42);
  mEs.setMeta("things", "mappingzip", "garbage");
  mEs.setMeta("things", "mappinghash", "another");
  expectRecreation(incompatible("property attribute '/dynamic' added"));
}

TEST_F(IndexLifecycleRecreationTest, AWideningThatIsRefused) {
  createAt(42);
  definition().mapping["properties"].editMap()["n"] = FromJson(R"({"type":"long"})");
  mEs.answer("PUT /things/_doc/_mapping", Reply::Json(400, R"({"error":"no"})"));
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mEs.takeRequests(),
            (vector<string>{"GET /things/_mapping", "GET /things/_settings", "PUT /things/_doc/_mapping",
                            "DELETE /things", "HEAD /things", "PUT /things", "GET /things/_settings",
                            "PUT /things/_doc/_mapping", "GET /things/_mapping"}));
  EXPECT_EQ(uuid(), "uuid-2");
  EXPECT_EQ(mStartSeq, 0U);
}

TEST_F(IndexLifecycleRecreationTest, ARecreatedIndexIsCurrentAfterwards) {
  createAt(42);
  definition().applicationVersion = "8";
  ASSERT_TRUE(ensure());
  mEs.setMeta("things", "lastrefreshseq", 7);
  EXPECT_TRUE(ensure());
  EXPECT_EQ(uuid(), "uuid-2");
  EXPECT_EQ(mStartSeq, 7U);
}

TEST_F(IndexLifecycleRecreationTest, OfOneIndexStartsTheDatabaseOver) {
  addIndex("another");
  createAt(42);
  mEs.setMeta("another", "lastrefreshseq", 50);
  definition().applicationVersion = "8";
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mStartSeq, 0U);
  EXPECT_EQ(uuid("another"), "uuid-1");
}

}  // namespace
}  // namespace qx::couch::test
