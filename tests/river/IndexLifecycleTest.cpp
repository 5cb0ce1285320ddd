#include "netweft/river/internal/IndexLifecycle.h"

#include "tests/river/IndexLifecycleFixture.h"

namespace qx::couch::test {
namespace {

class IndexLifecycleTest : public IndexLifecycleFixture {};

const vector<string> sInspection = {"GET /things/_mapping", "GET /things/_settings", "GET /things/_mapping"};

// Creation.

TEST_F(IndexLifecycleTest, AnAbsentIndexIsCreated) {
  EXPECT_TRUE(ensure());
  vector<string> expected = {"GET /things/_mapping"};
  for (const string& request : recreationOf("things")) expected.push_back(request);
  EXPECT_EQ(mEs.takeRequests(), expected);
  EXPECT_EQ(mStartSeq, 0U);
}

// The golden bodies: fingerprints, the compressed mapping, and the order of all keys.

constexpr const char* sMetaBeforeDescriptor =
    R"("lastrefreshdate":"","lastrefreshseq":0,"mappinghash":"bqla+Xv9RDu2Zd2B9UuVRWd2q1c=","mappingrevision":"rev-a",)"
    R"("mappingzip":"OAAAAHjaq1ZKqcxLzM1MVrJKS8wpTtVRKijKL0gtKslMLVayqlYqySzJSQUzKguAtFJJakWJUm1tLQBARxQ3",)"
    R"("settingshash":"1T9TyvgGgcS+mgaHc+wsZOyt/x0=","sourcedbname":"db"})";

TEST_F(IndexLifecycleTest, TheCreatingRequestHoldsSettingsMappingAndMeta) {
  ASSERT_TRUE(ensure());
  EXPECT_EQ(mEs.getBody("PUT /things"),
            string(R"({"mappings":{"_doc":{"_meta":{"applicationversion":"7","creationdescriptor":"",)") +
                sMetaBeforeDescriptor +
                R"(,"dynamic":false,"properties":{"title":{"type":"text"}}}},)"
                R"("settings":{"index":{"number_of_shards":1}}})");
}

TEST_F(IndexLifecycleTest, TheDescriptorIsStoredWithTheWholeMeta) {
  ASSERT_TRUE(ensure());
  EXPECT_EQ(mEs.getBody("PUT /things/_doc/_mapping"),
            string(R"({"_meta":{"applicationversion":"7","creationdescriptor":"1700000000001_uuid-1",)") +
                sMetaBeforeDescriptor + "}");
}

TEST_F(IndexLifecycleTest, BodiesAreSentAsJson) {
  ASSERT_TRUE(ensure());
  EXPECT_EQ(mEs.getLast("PUT /things").getHeader("Content-Type"), "application/json");
  EXPECT_EQ(mEs.getLast("PUT /things/_doc/_mapping").getHeader("Content-Type"), "application/json");
}

TEST_F(IndexLifecycleTest, ACreationIsLoggedWithItsBody) {
  ASSERT_TRUE(ensure());
  EXPECT_EQ(mLog.getLines(),
            (vector{Detail("esriver", "drop index things"),
                    Detail("esriver", "db => create idx things with mapping " + mEs.getBody("PUT /things"))}));
}

TEST_F(IndexLifecycleTest, ACreationFillsDescriptorsAndEntry) {
  entry().lastRefreshSeq = 99;
  ASSERT_TRUE(ensure());
  EXPECT_EQ(mDescriptors, (map<string, string>{{"things", "1700000000001_uuid-1"}}));
  EXPECT_EQ(entry().creationDescriptor, "1700000000001_uuid-1");
  EXPECT_EQ(entry().lastRefreshSeq, 0U);
}

TEST_F(IndexLifecycleTest, AHostsOwnMetaStaysBesideTheManagersKeys) {
  definition().mapping["_meta"] = FromJson(R"({"owner":"me","sourcedbname":"forged"})");
  ASSERT_TRUE(ensure());
  EXPECT_EQ(meta("owner"), "me");
  EXPECT_EQ(meta("sourcedbname"), "db");
  mEs.takeRequests();
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mEs.takeRequests(), sInspection);
}

TEST_F(IndexLifecycleTest, ADatabaseWithoutIndexesNeedsNothing) {
  mEntry.indexes.clear();
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mStartSeq, sNone);
  EXPECT_TRUE(mEs.takeRequests().empty());
}

// An index that stands as wanted.

TEST_F(IndexLifecycleTest, ACurrentIndexIsKeptWithItsSequence) {
  createAt(42);
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mEs.takeRequests(), sInspection);
  EXPECT_EQ(mStartSeq, 42U);
  EXPECT_EQ(entry().lastRefreshSeq, 42U);
  EXPECT_EQ(entry().creationDescriptor, "1700000000001_uuid-1");
  EXPECT_EQ(mDescriptors.at("things"), "1700000000001_uuid-1");
  EXPECT_TRUE(mLog.getLines().empty());
}

TEST_F(IndexLifecycleTest, TheMappingRevisionIsNotCompared) {
  createAt(42);
  definition().mappingRevision = "rev-b";
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mEs.takeRequests(), sInspection);
  EXPECT_EQ(meta("mappingrevision"), "rev-a");
}

TEST_F(IndexLifecycleTest, AStoredSequenceBelowZeroIsZero) {
  create();
  mEs.setMeta("things", "lastrefreshseq", -5);
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mStartSeq, 0U);
}

TEST_F(IndexLifecycleTest, TheSmallestSequenceOfAllIndexesCounts) {
  addIndex("others");
  create();
  mEs.setMeta("things", "lastrefreshseq", 50);
  mEs.setMeta("others", "lastrefreshseq", 30);
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mStartSeq, 30U);
  EXPECT_EQ(entry("things").lastRefreshSeq, 50U);
  EXPECT_EQ(entry("others").lastRefreshSeq, 30U);
  EXPECT_EQ(mDescriptors.size(), 2U);
}

TEST_F(IndexLifecycleTest, IndexesAreHandledInTheOrderOfTheirNames) {
  addIndex("others");
  create();
  ensure();
  EXPECT_EQ(mEs.takeRequests(),
            (vector<string>{"GET /others/_mapping", "GET /others/_settings", "GET /others/_mapping",
                            "GET /things/_mapping", "GET /things/_settings", "GET /things/_mapping"}));
}

TEST_F(IndexLifecycleTest, ANewIndexBesideAnOldOneStartsBothOver) {
  createAt(42);
  addIndex("another");
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mStartSeq, 0U);
  EXPECT_EQ(entry("things").lastRefreshSeq, 42U);
}

TEST_F(IndexLifecycleTest, AnIndexNameMayHoldADot) {
  mEntry.indexes.clear();
  addIndex("things.v2");
  create();
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mEs.takeRequests(),
            (vector<string>{"GET /things.v2/_mapping", "GET /things.v2/_settings", "GET /things.v2/_mapping"}));
}

// The same shape under another fingerprint.

TEST_F(IndexLifecycleTest, AnEmptyDeltaSendsNothingAndKeepsTheSequence) {
  createAt(42);
  mEs.setMeta("things", "mappinghash", "of an older release");
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mEs.takeRequests(), sInspection);
  EXPECT_EQ(mStartSeq, 42U);
  EXPECT_EQ(meta("mappinghash"), "of an older release");
  EXPECT_TRUE(mLog.getLines().empty());
}

TEST_F(IndexLifecycleTest, AHostsMetaThatChangesSendsNothing) {
  createAt(42);
  definition().mapping["_meta"] = FromJson(R"({"owner":"me"})");
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mEs.takeRequests(), sInspection);
}

// Widening.

constexpr const char* sWider = R"({"dynamic":false,"properties":{"n":{"type":"long"},"title":{"type":"text"}}})";

TEST_F(IndexLifecycleTest, ANewPropertyWidensTheIndexInPlace) {
  createAt(42);
  definition().mapping = FromJson(sWider);
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mEs.takeRequests(), (vector<string>{"GET /things/_mapping", "GET /things/_settings",
                                                "PUT /things/_doc/_mapping", "GET /things/_mapping"}));
  EXPECT_EQ(uuid(), "uuid-1");
}

TEST_F(IndexLifecycleTest, AWideningFeedsTheWholeDatabaseAgain) {
  createAt(42);
  definition().mapping = FromJson(sWider);
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mStartSeq, 0U);
  EXPECT_EQ(entry().lastRefreshSeq, 0U);
  EXPECT_EQ(meta("lastrefreshseq"), "0");
}

TEST_F(IndexLifecycleTest, AWideningSendsTheDeltaAndTheRenewedMeta) {
  createAt(42);
  mEs.setMeta("things", "lastrefreshdate", "2026-06-30 12:34:56.789");
  mEs.setMeta("things", "kept", "as it was");
  definition().mapping = FromJson(sWider);
  definition().mappingRevision = "rev-b";
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mEs.getBody("PUT /things/_doc/_mapping"),
            R"({"_meta":{"applicationversion":"7","creationdescriptor":"1700000000001_uuid-1","kept":"as it was",)"
            R"("lastrefreshdate":"","lastrefreshseq":0,"mappinghash":"8115akuDCV/p0xkmE+8RzF9uSwA=",)"
            R"("mappingrevision":"rev-b",)"
            R"("mappingzip":"TAAAAHjaq1ZKqcxLzM1MVrJKS8wpTtVRKijKL0gtKslMLVayqlbKAxEllQWpSlZKOfl56Uq1OkolmSU5qUjiJakV)"
            R"(JUq1tbUAAFUaew==","settingshash":"1T9TyvgGgcS+mgaHc+wsZOyt/x0=","sourcedbname":"db"},)"
            R"("properties":{"n":{"type":"long"}}})");
}

TEST_F(IndexLifecycleTest, AWideningIsLoggedWithItsBody) {
  create();
  definition().mapping = FromJson(sWider);
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mLog.getLines(), vector{Detail("esriver", "db => update idx 'things' with mapping " +
                                                          mEs.getBody("PUT /things/_doc/_mapping"))});
}

TEST_F(IndexLifecycleTest, AWidenedIndexIsCurrentAfterwards) {
  create();
  definition().mapping = FromJson(sWider);
  ASSERT_TRUE(ensure());
  mEs.takeRequests();
  EXPECT_TRUE(ensure());
  EXPECT_EQ(mEs.takeRequests(), sInspection);
}

TEST_F(IndexLifecycleTest, AWideningThatIsRefusedFallsBackOnRecreation) {
  create();
  definition().mapping = FromJson(sWider);
  mEs.answer("PUT /things/_doc/_mapping", Reply::Json(400, R"({"error":"no"})"));
  EXPECT_TRUE(ensure());
  EXPECT_EQ(uuid(), "uuid-2");
  EXPECT_EQ(mLog.getLines(LT_Warning),
            vector{Warning("Fail to update mapping ! HttpConnection error : bad html response code, "
                           "got 400, expect 200 " +
                           mEs.getScript().getUrl("/things/_doc/_mapping") + " Http return code 400 ")});
}

}  // namespace
}  // namespace qx::couch::test
