#include "netweft/base/system/qxFlag.h"
#include "tests/river/IndexLifecycleFixture.h"

#include <atomic>

namespace qx::couch::test {
namespace {

/// What ends an opening, and what it leaves behind.
class IndexLifecycleFailureTest : public IndexLifecycleFixture {
 protected:
  /// An opening that fails with exactly these warnings and errors.
  void expectFailure(const vector<string>& errors) {
    EXPECT_FALSE(ensure());
    EXPECT_TRUE(mLog.getLines(LT_Warning).empty());
    vector<CapturedLine> expected;
    for (const string& error : errors) expected.push_back(Error(error));
    EXPECT_EQ(mLog.getLines(LT_Error), expected);
  }
  void expectFailure(const string& text) {
    EXPECT_FALSE(ensure());
    EXPECT_TRUE(mLog.getLines(LT_Warning).empty());
    EXPECT_EQ(mLog.getLines(LT_Error), vector{Error(text + lastError())});
  }
};

TEST_F(IndexLifecycleFailureTest, TheFirstLookIsRefused) {
  mEs.answer("GET /things/_mapping", Reply::Json(503, "{}"));
  expectFailure("Error while retrieving current index meta info ");
  EXPECT_EQ(mEs.takeRequests(), vector<string>{"GET /things/_mapping"});
}

TEST_F(IndexLifecycleFailureTest, TheFirstLookIsNoJson) {
  create();
  mEs.answer("GET /things/_mapping", Reply::Http(200, "<html>a proxy</html>"));
  expectFailure("Error while retrieving current index meta info ");
  EXPECT_TRUE(mEs.has("things"));
}

TEST_F(IndexLifecycleFailureTest, TheFirstLookIsCutShort) {
  create();
  mEs.answer("GET /things/_mapping", Reply::Raw("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{").close());
  expectFailure("Error while retrieving current index meta info ");
  EXPECT_TRUE(mEs.has("things"));
}

TEST_F(IndexLifecycleFailureTest, TheFirstLookBreaksOffInItsHead) {
  create();
  // To libcurl that is a good answer without a body, and an index without a description would be built anew.
  mEs.answer("GET /things/_mapping", Reply::Raw("HTTP/1.1 200 OK\r\nContent-Ty").close());
  expectFailure("Error while retrieving current index meta info ");
  EXPECT_EQ(mEs.takeRequests(), vector<string>{"GET /things/_mapping"});
}

TEST_F(IndexLifecycleFailureTest, AMissingIndexNeedNotBeSaidInJson) {
  mEs.answer("GET /things/_mapping", Reply::Http(404, "not here"));
  EXPECT_TRUE(ensure());
  EXPECT_TRUE(mEs.has("things"));
}

TEST_F(IndexLifecycleFailureTest, TheServerIsNotThere) {
  const qx::test::RefusingPort nobody;
  mParameters.es = elasticsearch::ESConnectionParameters(Url(nobody.getUrl("")));
  expectFailure("Error while retrieving current index meta info ");
}

TEST_F(IndexLifecycleFailureTest, TheSettingsAreRefused) {
  create();
  mEs.answer("GET /things/_settings", Reply::Json(500, "{}"));
  expectFailure("Error while retrieving current index settings ");
  EXPECT_TRUE(mEs.has("things"));
}

TEST_F(IndexLifecycleFailureTest, TheSettingsAreNoJson) {
  create();
  mEs.answer("GET /things/_settings", Reply::Http(200, "["));
  expectFailure("Error while retrieving current index settings ");
  EXPECT_TRUE(mEs.has("things"));
}

TEST_F(IndexLifecycleFailureTest, TheDropIsRefused) {
  mEs.answer("DELETE /things", Reply::Json(403, R"({"error":"blocked"})"));
  EXPECT_FALSE(ensure());
  EXPECT_EQ(mLog.getLines(), (vector{Error(R"(Cannot delete index: 403 {"error":"blocked"} )" + lastError()),
                                     Error("Fail to drop previous index " + lastError())}));
  EXPECT_EQ(mEs.takeRequests(), (vector<string>{"GET /things/_mapping", "DELETE /things"}));
}

TEST_F(IndexLifecycleFailureTest, TheCreationIsRefused) {
  mEs.answer("PUT /things", Reply::Json(400, R"({"error":"invalid_index_name_exception"})"));
  EXPECT_FALSE(ensure());
  EXPECT_EQ(mLog.getLines(LT_Error), vector{Error("Fail to create index " + lastError() +
                                                  R"(, es response : {"error":"invalid_index_name_exception"})")});
}

TEST_F(IndexLifecycleFailureTest, ALongRefusalIsCutInTheLog) {
  mEs.answer("PUT /things", Reply::Http(400, string(100000, 'x')));
  EXPECT_FALSE(ensure());
  EXPECT_LT(mLog.getLines(LT_Error).at(0).text.size(), 6000U);
}

TEST_F(IndexLifecycleFailureTest, TheNewSettingsAreRefused) {
  mEs.answer("GET /things/_settings", Reply::Json(500, "{}"));
  expectFailure("Fail to retrieve index settings ");
}

TEST_F(IndexLifecycleFailureTest, TheNewSettingsAreMissing) {
  mEs.answer("GET /things/_settings", Reply::Json(404, "{}"));
  expectFailure("Fail to retrieve index settings ");
}

TEST_F(IndexLifecycleFailureTest, TheDescriptorIsRefused) {
  mEs.answer("PUT /things/_doc/_mapping", Reply::Json(500, "{}"));
  expectFailure("Fail to store creation descriptor ");
}

TEST_F(IndexLifecycleFailureTest, TheLastLookIsRefused) {
  mEs.answer("GET /things/_mapping", Reply::Json(404, "{}"));
  mEs.answer("GET /things/_mapping", Reply::Json(500, "{}"));
  expectFailure("Fail to retrieve mapping ");
}

TEST_F(IndexLifecycleFailureTest, TheLastLookIsMissing) {
  mEs.answer("GET /things/_mapping", Reply::Json(404, "{}"));
  mEs.answer("GET /things/_mapping", Reply::Json(404, "{}"));
  expectFailure("Fail to retrieve mapping ");
}

TEST_F(IndexLifecycleFailureTest, TheFirstIndexThatFailsEndsTheCall) {
  addIndex("another");
  addIndex("zebra");
  mEs.answer("PUT /things", Reply::Json(400, "{}"));
  EXPECT_FALSE(ensure());
  EXPECT_TRUE(mEs.has("another"));
  EXPECT_FALSE(mEs.has("zebra"));
  EXPECT_EQ(mEs.takeRequests().back(), "PUT /things");
}

TEST_F(IndexLifecycleFailureTest, AHalfMadeIndexIsBuiltAnewAtTheNextOpening) {
  mEs.answer("PUT /things/_doc/_mapping", Reply::Json(500, "{}"));
  ASSERT_FALSE(ensure());
  EXPECT_EQ(meta("creationdescriptor"), "");
  EXPECT_TRUE(ensure());
  EXPECT_EQ(uuid(), "uuid-2");
  EXPECT_EQ(meta("creationdescriptor"), "1700000000002_uuid-2");
}

TEST_F(IndexLifecycleFailureTest, ANameThatMeansMoreThanOneIndexSendsNothingForTheWholeDatabase) {
  for (const string name : {"*", "_all", "a,b", "-a", "_a", ""}) {
    mEntry.indexes.clear();
    addIndex("another");
    addIndex(name);
    mLog.clear();
    expectFailure(vector<string>{"Index name '" + name + "' is refused, it does not name one single index"});
  }
  EXPECT_TRUE(mEs.takeRequests().empty());
}

// The flag.

TEST_F(IndexLifecycleFailureTest, ARaisedFlagSendsNothing) {
  const bool cancel = true;
  EXPECT_FALSE(ensure(&cancel));
  EXPECT_TRUE(mEs.takeRequests().empty());
  EXPECT_TRUE(mLog.getLines().empty());
}

/// Raises the flag at each request of an opening in turn, before it is answered.
class IndexLifecycleCancelTest : public IndexLifecycleFailureTest {
 protected:
  /// True when the opening ended because of a flag raised at request `stage`; false when it has fewer requests.
  bool cancelAt(size_t stage) {
    StoreFlag(mCancel, false);
    mSeen = 0;
    mEs.setObserver([this, stage](const Request&) {
      if (mSeen++ == stage) StoreFlag(mCancel, true);
    });
    const bool result = ensure(&mCancel);
    mEs.setObserver(nullptr);
    const bool wasRaised = ReadFlag(mCancel);
    if (wasRaised) {
      EXPECT_FALSE(result) << stage;
      EXPECT_EQ(mEs.takeRequests().size(), stage + 1) << "nothing may be sent behind the flag";
    }
    EXPECT_TRUE(mLog.getLines(LT_Error).empty()) << stage;
    return wasRaised;
  }

  /// The index stands as wanted, and the feed begins where the index really is.
  void expectRecovery(size_t stage) {
    ASSERT_TRUE(ensure()) << stage;
    EXPECT_EQ(meta("creationdescriptor"), mDescriptors.at("things")) << stage;
    EXPECT_EQ(std::to_string(mStartSeq), meta("lastrefreshseq")) << stage;
    EXPECT_EQ(mEs.getIndex("things").mapping["properties"], definition().mapping["properties"]) << stage;
    mEs.takeRequests();
    mLog.clear();
  }

  bool mCancel = false;
  std::atomic<size_t> mSeen = 0;
};

TEST_F(IndexLifecycleCancelTest, ACreationCancelledAtAnyRequestIsMadeGoodByTheNextOpening) {
  size_t stage = 0;
  for (;; ++stage) {
    if (mEs.has("things")) mEs.removeIndex("things");
    mEs.takeRequests();
    if (!cancelAt(stage)) break;
    expectRecovery(stage);
    EXPECT_EQ(mStartSeq, 0U);
  }
  EXPECT_EQ(stage, 1 + recreationOf("things").size());
}

TEST_F(IndexLifecycleCancelTest, AWideningCancelledAtAnyRequestIsMadeGoodByTheNextOpening) {
  const qxVariantMapImpl narrow = definition().mapping;
  qxVariantMapImpl wide = narrow;
  wide["properties"].editMap()["n"] = FromJson(R"({"type":"long"})");
  size_t stage = 0;
  for (;; ++stage) {
    if (mEs.has("things")) mEs.removeIndex("things");
    definition().mapping = narrow;
    createAt(42);
    const string before = uuid();
    definition().mapping = wide;
    if (!cancelAt(stage)) break;
    EXPECT_TRUE(mLog.getLines(LT_Warning).empty());
    expectRecovery(stage);
    EXPECT_EQ(uuid(), before) << "a cancel is no reason to drop an index";
    EXPECT_EQ(mStartSeq, 0U);
  }
  EXPECT_EQ(stage, 4U);
}

TEST_F(IndexLifecycleCancelTest, ARecreationCancelledAtAnyRequestIsMadeGoodByTheNextOpening) {
  size_t stage = 0;
  for (;; ++stage) {
    if (mEs.has("things")) mEs.removeIndex("things");
    definition().applicationVersion = "7";
    createAt(42);
    definition().applicationVersion = "8";
    if (!cancelAt(stage)) break;
    expectRecovery(stage);
    EXPECT_EQ(mStartSeq, 0U);
    EXPECT_EQ(meta("applicationversion"), "8");
  }
  EXPECT_EQ(stage, inspectionAndRecreation().size());
}

TEST_F(IndexLifecycleCancelTest, AKeptIndexIsAsItWasAfterACancel) {
  createAt(42);
  const string before = uuid();
  size_t stage = 0;
  while (cancelAt(stage)) {
    expectRecovery(stage);
    EXPECT_EQ(mStartSeq, 42U);
    ++stage;
  }
  EXPECT_EQ(stage, 3U);
  EXPECT_EQ(uuid(), before);
}

}  // namespace
}  // namespace qx::couch::test
