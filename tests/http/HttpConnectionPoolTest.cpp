#include "netweft/http/HttpConnectionPool.h"

#include "tests/http/PoolFixture.h"

#include <thread>
#include <type_traits>

namespace qx::test {
namespace {

using testing::IsEmpty;

static_assert(!std::is_copy_constructible_v<http::HttpConnectionPool>);

class HttpConnectionPoolTest : public PoolFixture {
 protected:
  /// An expiry pass at a later time, with the limit as it is.
  void passAfter(int64 ms) {
    qx::impl::AdvanceClock(ms);
    pool.setMaxPendingConnection(pool.getMaxConcurrentConnection());
  }
};

TEST_F(HttpConnectionPoolTest, AnEmptyPoolGivesNewConnectionsWithDefaults) {
  const unique_ptr<HttpConnection> fresh(borrow());
  ASSERT_NE(fresh, nullptr);
  EXPECT_THAT(fresh->getCommonHeaders(), IsEmpty());
  EXPECT_EQ(fresh->getConnectionParameters().connectTimeoutSec, 10);
}

TEST_F(HttpConnectionPoolTest, AReleasedConnectionIsFoundAgainWithItsTcpConnection) {
  for (int i = 0; i < 3; ++i) {
    HttpConnection* const borrowed = borrow();
    EXPECT_TRUE(HttpHelpers::HttpGet(*borrowed, url()));
    pool.releaseHttpConnection(borrowed);
  }
  EXPECT_EQ(server.getAcceptedConnections(), 1u);
}

TEST_F(HttpConnectionPoolTest, WhatWasSetOnAConnectionStaysOnIt) {
  HttpConnection* const borrowed = borrow();
  EXPECT_TRUE(HttpHelpers::HttpGet(*borrowed, url()));
  borrowed->editConnectionParameters().maxRedirects = 9;
  pool.releaseHttpConnection(borrowed);
  const unique_ptr<HttpConnection> again(borrow());
  EXPECT_EQ(again->getConnectionParameters().maxRedirects, 9);
}

TEST_F(HttpConnectionPoolTest, AnotherPortIsAnotherEndpoint) {
  releaseUsed("a");
  EXPECT_EQ(takeMark(kHost, 80), "");
  EXPECT_EQ(takeMark(), "a");
}

TEST_F(HttpConnectionPoolTest, HostsAreComparedAsTexts) {
  releaseUsed("a", Url(server.getUrlFor("localhost")));
  EXPECT_EQ(takeMark(kHost, server.getPort()), "");
  EXPECT_EQ(takeMark("LOCALHOST", server.getPort()), "");
  EXPECT_EQ(takeMark("localhost", server.getPort()), "a");
}

TEST_F(HttpConnectionPoolTest, ABorrowedConnectionIsNobodyElses) {
  releaseUsed("a");
  const unique_ptr<HttpConnection> one(borrow());
  const unique_ptr<HttpConnection> two(borrow());

  EXPECT_EQ(GetMark(*one), "a");
  EXPECT_EQ(GetMark(*two), "");
}

TEST_F(HttpConnectionPoolTest, TheOneReleasedLastIsBorrowedFirst) {
  pool.setMaxPendingConnection(3);
  for (const char* mark : {"a", "b", "c"}) releaseUsed(mark);
  EXPECT_EQ(takeMark(), "c");
  EXPECT_EQ(takeMark(), "b");
  EXPECT_EQ(takeMark(), "a");
  EXPECT_EQ(takeMark(), "");
}

TEST_F(HttpConnectionPoolTest, AConnectionIsFiledUnderTheEndpointThatItUsed) {
  HttpConnection* const borrowed = pool.getHttpConnection("elsewhere", 1);
  Mark(*borrowed, "a");
  EXPECT_TRUE(HttpHelpers::HttpGet(*borrowed, url()));
  pool.releaseHttpConnection(borrowed);
  EXPECT_EQ(takeMark("elsewhere", 1), "");
  EXPECT_EQ(takeMark(), "a");
}

TEST_F(HttpConnectionPoolTest, AConnectionThatMadeNoRequestIsDestroyed) {
  HttpConnection* const borrowed = borrow();
  Mark(*borrowed, "a");
  pool.releaseHttpConnection(borrowed);
  EXPECT_EQ(takeMark("", 0), "");
  EXPECT_EQ(takeMark(), "");
}

TEST_F(HttpConnectionPoolTest, ANullPointerIsIgnored) {
  pool.releaseHttpConnection(nullptr);
  EXPECT_EQ(takeMark(), "");
}

TEST_F(HttpConnectionPoolTest, AFailedConnectionIsPooledAndOpensAnew) {
  server.queue(Reply().close());
  HttpConnection* const borrowed = borrow();
  Mark(*borrowed, "a");
  EXPECT_FALSE(HttpHelpers::HttpGet(*borrowed, url()));
  pool.releaseHttpConnection(borrowed);
  const unique_ptr<HttpConnection> again(borrow());
  EXPECT_EQ(GetMark(*again), "a");
  EXPECT_TRUE(HttpHelpers::HttpGet(*again, url()));
}

TEST_F(HttpConnectionPoolTest, OneIdleConnectionIsKeptFromTheStartAndTheOldestGoes) {
  EXPECT_EQ(pool.getMaxConcurrentConnection(), 1u);
  releaseUsed("a");
  releaseUsed("b");
  EXPECT_TRUE(server.waitForOpenConnections(1));
  EXPECT_EQ(takeMark(), "b");
  EXPECT_EQ(takeMark(), "");
}

TEST_F(HttpConnectionPoolTest, TheLimitCountsAllHostsTogether) {
  ScriptedServer other([](const test::Request&) { return Reply::Http(200); });
  releaseUsed("a");
  releaseUsed("b", Url(other.getUrl()));
  EXPECT_EQ(takeMark(), "");
  EXPECT_EQ(takeMark(kHost, other.getPort()), "b");
}

TEST_F(HttpConnectionPoolTest, ALimitOfZeroCountsAsOne) {
  pool.setMaxPendingConnection(0);
  EXPECT_EQ(pool.getMaxConcurrentConnection(), 1u);
}

TEST_F(HttpConnectionPoolTest, ALowerLimitShrinksThePoolAtOnce) {
  pool.setMaxPendingConnection(3);
  for (const char* mark : {"a", "b", "c"}) releaseUsed(mark);
  pool.setMaxPendingConnection(1);
  EXPECT_TRUE(server.waitForOpenConnections(1));
  EXPECT_EQ(takeMark(), "c");
}

TEST_F(HttpConnectionPoolTest, EnsureRaisesAndNeverLowers) {
  pool.ensureAtLeastMaxConcurrentConnection(4);
  EXPECT_EQ(pool.getMaxConcurrentConnection(), 4u);
  pool.ensureAtLeastMaxConcurrentConnection(2);
  EXPECT_EQ(pool.getMaxConcurrentConnection(), 4u);
  pool.ensureAtLeastMaxConcurrentConnection(0);
  EXPECT_EQ(pool.getMaxConcurrentConnection(), 4u);
}

TEST_F(HttpConnectionPoolTest, EnsureRunsNoExpiryPass) {
  releaseUsed("a");
  qx::impl::AdvanceClock(11000);
  pool.ensureAtLeastMaxConcurrentConnection(1);
  EXPECT_EQ(takeMark(), "a");
}

TEST_F(HttpConnectionPoolTest, AnIdleConnectionIsKeptForTenSeconds) {
  releaseUsed("a");
  passAfter(5000);
  EXPECT_EQ(takeMark(), "a");
}

TEST_F(HttpConnectionPoolTest, AnIdleConnectionIsClosedAfterTenSeconds) {
  releaseUsed("a");
  passAfter(10001);
  EXPECT_TRUE(server.waitForOpenConnections(0));
  EXPECT_EQ(takeMark(), "");
}

TEST_F(HttpConnectionPoolTest, ARoundTripThroughABorrowerStartsTheTimeAnew) {
  releaseUsed("a");
  passAfter(6000);
  pool.releaseHttpConnection(borrow());
  passAfter(6000);
  EXPECT_EQ(takeMark(), "a");
}

TEST_F(HttpConnectionPoolTest, OnlyTheOldOnesExpire) {
  pool.setMaxPendingConnection(3);
  releaseUsed("a");
  releaseUsed("b");
  qx::impl::AdvanceClock(6000);
  releaseUsed("c");
  passAfter(4001);
  EXPECT_EQ(takeMark(), "c");
  EXPECT_EQ(takeMark(), "");
}

TEST_F(HttpConnectionPoolTest, AShorterDurationCountsAtOnce) {
  releaseUsed("a");
  qx::impl::AdvanceClock(3000);
  pool.setKeepOpenDurationSec(2);
  EXPECT_EQ(takeMark(), "");
}

TEST_F(HttpConnectionPoolTest, ALongerDurationKeepsWhatWouldHaveGone) {
  releaseUsed("a");
  pool.setKeepOpenDurationSec(60);
  passAfter(30000);
  EXPECT_EQ(takeMark(), "a");
}

TEST_F(HttpConnectionPoolTest, WithADurationOfZeroWhatIsIdleForAMillisecondGoesInTheNextPass) {
  pool.setKeepOpenDurationSec(0);
  releaseUsed("a");
  passAfter(1);
  EXPECT_EQ(takeMark(), "");
}

// 4,394,968 seconds are 704 ms and 100,000 s in 32 bits.
TEST_F(HttpConnectionPoolTest, TheDurationWrapsAt32Bits) {
  pool.setKeepOpenDurationSec(4394968);
  releaseUsed("a");
  passAfter(100'000'705);
  EXPECT_EQ(takeMark(), "");
  releaseUsed("b");
  passAfter(99'900'000);
  EXPECT_EQ(takeMark(), "b");
}

TEST_F(HttpConnectionPoolTest, ARoundOfTheUpdaterExpiresWhatIsIdle) {
  HttpConnectionPool second;
  releaseUsed("a");
  qx::impl::AdvanceClock(10001);
  EXPECT_TRUE(server.waitForOpenConnections(0));
}

TEST_F(HttpConnectionPoolTest, TheDestructorClosesWhatIsIdle) {
  auto dying = std::make_unique<HttpConnectionPool>();
  HttpConnection* const borrowed = dying->getHttpConnection(kHost, server.getPort());
  EXPECT_TRUE(HttpHelpers::HttpGet(*borrowed, url()));
  dying->releaseHttpConnection(borrowed);
  EXPECT_EQ(server.getOpenConnections(), 1u);
  dying.reset();
  EXPECT_TRUE(server.waitForOpenConnections(0));
}

TEST_F(HttpConnectionPoolTest, ABorrowedConnectionMayOutliveItsPool) {
  auto dying = std::make_unique<HttpConnectionPool>();
  HttpConnection* const borrowed = dying->getHttpConnection(kHost, server.getPort());
  Mark(*borrowed, "a");
  dying.reset();
  EXPECT_TRUE(HttpHelpers::HttpGet(*borrowed, url()));
  pool.releaseHttpConnection(borrowed);
  EXPECT_EQ(takeMark(), "a");
}

TEST_F(HttpConnectionPoolTest, ManyThreadsShareOnePool) {
  pool.setMaxPendingConnection(2);
  const auto work = [this](unsigned int index) {
    for (unsigned int i = 0; i < 20; ++i) {
      HttpConnection* const borrowed = borrow();
      EXPECT_TRUE(HttpHelpers::HttpGet(*borrowed, url("/" + std::to_string(index))));
      pool.releaseHttpConnection(borrowed);
      pool.ensureAtLeastMaxConcurrentConnection(1 + i % 4);
      EXPECT_GE(pool.getMaxConcurrentConnection(), 1u);
      if (i % 8 == 0) pool.setMaxPendingConnection(index);
      if (i % 8 == 4) pool.setKeepOpenDurationSec(i % 2);
    }
  };
  vector<std::thread> threads;
  for (unsigned int index = 1; index <= 4; ++index) threads.emplace_back(work, index);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(server.getRequestCount(), 80u);
}

}  // namespace
}  // namespace qx::test
