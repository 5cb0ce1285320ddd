#include "netweft/http/HttpConnectionLocker.h"

#include "tests/http/PoolFixture.h"

#include <type_traits>

namespace qx::test {
namespace {

using http::HttpConnectionLocker;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::is_copy_constructible_v<HttpConnectionLocker>);

class HttpConnectionLockerTest : public PoolFixture {
 protected:
  HttpConnectionLockerTest() { pool.setMaxPendingConnection(4); }

  CapturedLine movedLine(const string& usedUrl, const string& declared) const {
    return Detail("", "Http connection from pool was used with an other host/port '" + usedUrl +
                          "' than the one declared " + declared);
  }
};

TEST_F(HttpConnectionLockerTest, ALockerBorrowsForItsScope) {
  for (int i = 0; i < 3; ++i) {
    const HttpConnectionLocker locker(pool, url());
    EXPECT_TRUE(HttpHelpers::HttpGet(*locker, url()));
    EXPECT_EQ(locker->getLastHttpReturnCode(), 200);
  }
  for (int i = 0; i < 3; ++i) {
    const HttpConnectionLocker locker(pool, kHost, server.getPort());
    EXPECT_TRUE(HttpHelpers::HttpGet(*locker, url()));
  }
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(HttpConnectionLockerTest, ALockerGivesAccess) {
  const HttpConnectionLocker locker(pool, url());
  HttpConnection* const borrowed = locker;
  ASSERT_NE(borrowed, nullptr);
  EXPECT_EQ(borrowed, locker.operator->());
}

TEST_F(HttpConnectionLockerTest, TwoBorrowersOfOneEndpointGetTwoConnections) {
  releaseUsed("a");
  const HttpConnectionLocker one(pool, url());
  const HttpConnectionLocker two(pool, url());
  EXPECT_EQ(GetMark(*one), "a");
  EXPECT_EQ(GetMark(*two), "");
}

TEST_F(HttpConnectionLockerTest, AConnectionThatWasNotUsedIsNotPooled) {
  {
    const HttpConnectionLocker locker(pool, url());
    Mark(*locker, "a");
  }
  EXPECT_EQ(takeMark(), "");
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(HttpConnectionLockerTest, APooledConnectionThatIsBorrowedForNothingGoesBack) {
  releaseUsed("a");
  { const HttpConnectionLocker locker(pool, url()); }
  EXPECT_EQ(takeMark(), "a");
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(HttpConnectionLockerTest, AFreshConnectionMayGoElsewhereUnseen) {
  {
    const HttpConnectionLocker locker(pool, "elsewhere", 1);
    Mark(*locker, "a");
    EXPECT_TRUE(HttpHelpers::HttpGet(*locker, url()));
  }
  EXPECT_THAT(log.getLines(), IsEmpty());
  EXPECT_EQ(takeMark(), "a");
}

TEST_F(HttpConnectionLockerTest, APooledConnectionThatMovedIsFiledAnewAndLogged) {
  ScriptedServer other([](const test::Request&) { return Reply::Http(200); });
  releaseUsed("a");
  {
    const HttpConnectionLocker locker(pool, url());
    EXPECT_TRUE(HttpHelpers::HttpGet(*locker, Url(other.getUrl("/b"))));
    log.clear();  // the connection's own remark about its reuse
  }
  EXPECT_THAT(log.getLines(),
              ElementsAre(movedLine(other.getUrl("/b"), "127.0.0.1:" + std::to_string(server.getPort()))));
  EXPECT_EQ(takeMark(), "");
  EXPECT_EQ(takeMark(kHost, other.getPort()), "a");
}

TEST_F(HttpConnectionLockerTest, AnotherTextForTheSameHostIsAMoveToo) {
  releaseUsed("a");
  {
    const HttpConnectionLocker locker(pool, url());
    EXPECT_TRUE(HttpHelpers::HttpGet(*locker, Url(server.getUrlFor("localhost", "/b"))));
    log.clear();
  }
  EXPECT_THAT(log.getLines(), ElementsAre(movedLine(server.getUrlFor("localhost", "/b"),
                                                    "127.0.0.1:" + std::to_string(server.getPort()))));
}

TEST_F(HttpConnectionLockerTest, SecretsStayOutOfTheRemark) {
  releaseUsed("a");
  Url secret = url();
  secret.setHost("localhost");
  secret.setCredentialsOnHttpHeaders("user", "very-secret");
  {
    const HttpConnectionLocker locker(pool, url());
    EXPECT_TRUE(HttpHelpers::HttpGet(*locker, secret));
  }
  EXPECT_FALSE(log.contains(LT_Detail, "very-secret"));
  EXPECT_TRUE(log.contains(LT_Detail, "user:*******@localhost"));
}

TEST_F(HttpConnectionLockerTest, WithoutAPoolTheConnectionDiesWithTheLocker) {
  {
    const HttpConnectionLocker locker(new HttpConnection(false));
    EXPECT_TRUE(HttpHelpers::HttpGet(*locker, url()));
    EXPECT_EQ(server.getOpenConnections(), 1u);
  }
  EXPECT_TRUE(server.waitForOpenConnections(0));
  EXPECT_EQ(takeMark(), "");
}

TEST_F(HttpConnectionLockerTest, WithoutAPoolThereMayBeNoConnectionEither) {
  const HttpConnectionLocker locker(nullptr);
  EXPECT_EQ(locker.operator->(), nullptr);
}

}  // namespace
}  // namespace qx::test
