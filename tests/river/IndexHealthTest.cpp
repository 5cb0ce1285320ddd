#include "netweft/river/internal/IndexHealth.h"

#include "netweft/http/HttpConnection.h"
#include "tests/http/LibraryFixture.h"
#include "tests/river/FakeElasticsearch.h"
#include "tests/support/LogCapture.h"

namespace qx::couch::test {

namespace {

using qx::test::CapturedLine;
using qx::test::Error;
using qx::test::Warning;

constexpr const char* sHead = "HEAD /things";
constexpr const char* sHealth = "GET /_cluster/health/things";
constexpr const char* sSettings = "GET /things/_settings";

class IndexHealthTest : public qx::test::LibraryFixture {
 protected:
  IndexHealthTest() { mEs.setIndex("things", {.creationDate = "17", .uuid = "u", .settings = {}, .mapping = {}}); }

  bool isHealthy(const string& descriptor = "17_u", const bool* cancelFlag = nullptr) {
    return IsIndexHealthy(mConnection, mEs.getServer(), "things", descriptor, cancelFlag);
  }
  /// What the log holds, when it is one line that ends with the connection's error.
  vector<CapturedLine> lines() const {
    vector<CapturedLine> lines = mLog.getLines(LT_Error);
    for (const CapturedLine& line : mLog.getLines(LT_Warning)) lines.push_back(line);
    return lines;
  }
  string lastError() const { return mConnection.getLastErrorMsg(); }

  qx::test::LogCapture mLog;
  FakeElasticsearch mEs;
  http::HttpConnection mConnection{true};
};

}  // namespace

TEST_F(IndexHealthTest, AWellIndexIsAskedThreeQuestions) {
  EXPECT_TRUE(isHealthy());
  EXPECT_EQ(mEs.takeRequests(), (vector<string>{sHead, sHealth, sSettings}));
  EXPECT_TRUE(lines().empty());
}

TEST_F(IndexHealthTest, YellowIsWell) {
  mEs.answer(sHealth, Reply::Json(200, R"({"status":"yellow"})"));
  EXPECT_TRUE(isHealthy());
}

TEST_F(IndexHealthTest, AnyOtherStatusIsSick) {
  mEs.answer(sHealth, Reply::Json(200, R"({"status":"red"})"));
  EXPECT_FALSE(isHealthy());
  EXPECT_EQ(lines(), vector<CapturedLine>{Error("index things is sick, status is red")});
  EXPECT_EQ(mEs.takeRequests(), (vector<string>{sHead, sHealth}));
}

TEST_F(IndexHealthTest, AMissingStatusIsSick) {
  mEs.answer(sHealth, Reply::Json(200, "{}"));
  EXPECT_FALSE(isHealthy());
  EXPECT_EQ(lines(), vector<CapturedLine>{Error("index things is sick, status is ")});
}

TEST_F(IndexHealthTest, AnUnreadableStatusIsSick) {
  mEs.answer(sHealth, Reply::Json(503, "{}"));
  EXPECT_FALSE(isHealthy());
  EXPECT_EQ(lines(), vector<CapturedLine>{Error("Fail to retrieve health of index things " + lastError())});
  EXPECT_FALSE(lastError().empty());
}

TEST_F(IndexHealthTest, AMissingIndexIsSick) {
  mEs.removeIndex("things");
  EXPECT_FALSE(isHealthy());
  EXPECT_EQ(lines(), vector<CapturedLine>{Warning("Index things is missing !")});
  EXPECT_EQ(mEs.takeRequests(), vector<string>{sHead});
}

TEST_F(IndexHealthTest, AnIndexThatCannotBeAskedIsSick) {
  mEs.answer(sHead, Reply::Http(503));
  EXPECT_FALSE(isHealthy());
  EXPECT_EQ(lines(), vector<CapturedLine>{Warning("Fail to check index things " + lastError())});
  EXPECT_FALSE(lastError().empty());
}

TEST_F(IndexHealthTest, AnotherCreationIsToBeOpenedAnew) {
  EXPECT_FALSE(isHealthy("17_other"));
  EXPECT_EQ(lines(), vector<CapturedLine>{Warning("creationdescriptor missmatch")});
}

TEST_F(IndexHealthTest, SettingsThatAreMissingSayNothing) {
  mEs.answer(sSettings, Reply::Json(404, "{}"));
  EXPECT_TRUE(isHealthy());
  EXPECT_TRUE(lines().empty());
}

TEST_F(IndexHealthTest, SettingsThatCannotBeReadAreAWarningAndNoMore) {
  mEs.answer(sSettings, Reply::Json(500, "{}"));
  EXPECT_TRUE(isHealthy());
  EXPECT_EQ(lines(), vector<CapturedLine>{Warning("Error while retrieving current index settings " + lastError())});
}

TEST_F(IndexHealthTest, ARaisedFlagFindsNothingOut) {
  const bool cancelled = true;
  EXPECT_TRUE(isHealthy("17_other", &cancelled));
  EXPECT_TRUE(lines().empty());
  EXPECT_LE(mEs.takeRequests().size(), 1u) << "whether it exists may still be asked";
}

}  // namespace qx::couch::test
