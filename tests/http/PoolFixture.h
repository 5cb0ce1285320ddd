#pragma once

#include "netweft/base/system/internal/Clock.h"
#include "netweft/http/HttpConnectionPool.h"
#include "tests/http/HelpersFixture.h"

namespace qx::test {

/// A pool, and connections that can be told apart: each carries a mark that it keeps for life.
class PoolFixture : public HelpersFixture {
 protected:
  using HttpConnection = http::HttpConnection;
  using HttpConnectionPool = http::HttpConnectionPool;

  static constexpr const char* kHost = "127.0.0.1";

  HttpConnection* borrow() { return pool.getHttpConnection(kHost, server.getPort()); }

  static void Mark(HttpConnection& connection, const string& mark) { connection.setCommonHeaders({"X-Mark: " + mark}); }
  /// Empty for a new connection.
  static string GetMark(const HttpConnection& connection) {
    return connection.getCommonHeaders().empty() ? "" : connection.getCommonHeaders().front().substr(8);
  }

  /// A marked connection whose last request went to `target`, released.
  void releaseUsed(const string& mark, const Url& target) {
    unique_ptr<HttpConnection> used = std::make_unique<HttpConnection>(true);
    Mark(*used, mark);
    ASSERT_TRUE(HttpHelpers::HttpGet(*used, target));
    pool.releaseHttpConnection(used.release());
  }
  void releaseUsed(const string& mark) { releaseUsed(mark, url()); }

  /// The mark of the connection that the pool has for this endpoint, which is then gone from it; empty when it has
  /// none.
  string takeMark(const string& host, uint16 port) {
    const unique_ptr<HttpConnection> taken(pool.getHttpConnection(host, port));
    return GetMark(*taken);
  }
  string takeMark() { return takeMark(kHost, server.getPort()); }

  HttpConnectionPool pool;
};

}  // namespace qx::test
