#include "netweft/addressing/Url.h"
#include "netweft/http/HttpConnection.h"
#include "tests/http/Exchange.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/AllocationHooks.h"
#include "tests/support/ScriptedServer.h"

#include <functional>
#include <new>

namespace qx::test {
namespace {

using http::HttpConnection;

/// Requests during which memory runs out: at the first allocation of the thread, at the second, and so on until one
/// gets through. Each must tell its caller, past libcurl where the debug capture is what failed, and leave a connection
/// that works.
class HttpConnectionMemoryTest : public LibraryFixture {
 protected:
  HttpConnectionMemoryTest() {
    exchange.body.reserve(1000);  // the write function of the test must not throw through libcurl
    exchange.headers = {"X-Header: long enough not to fit into the string itself"};
  }

  bool get(HttpConnection& connection, const string& expectedType = "") {
    exchange.body.clear();
    return connection.getHttpData(url, expectedType, 200, Exchange::Setup, &exchange);
  }

  /// How many different allocations failed.
  size_t failEachAllocation(const std::function<void(HttpConnection&)>& prepare,
                            const std::function<void(HttpConnection&)>& request) {
    for (size_t allowed = 0;; ++allowed) {
      HttpConnection connection(false);
      connection.editConnectionParameters().debugLevel = 1;
      connection.addCommonHeader("X-Common: long enough not to fit into the string itself");
      prepare(connection);
      bool isTold = false;
      bool isHit = false;
      {
        const AllocationLimit limit(allowed);
        try {
          request(connection);
        } catch (const std::bad_alloc&) {
          isTold = true;
        }
        isHit = limit.wasHit();
      }
      EXPECT_EQ(isTold, isHit) << "after " << allowed << " allocations";
      EXPECT_TRUE(get(connection)) << "after " << allowed << " allocations: " << connection.getLastErrorMsg();
      if (!isHit) return allowed;
    }
  }

  ScriptedServer server{[](const Request&) { return Reply::Http(200, "hello"); }};
  const qx::Url url{server.getUrl("/path")};
  Exchange exchange;
};

TEST_F(HttpConnectionMemoryTest, AFirstRequestThatRunsOutOfMemorySaysSo) {
  EXPECT_GT(failEachAllocation([](HttpConnection&) {}, [this](HttpConnection& connection) { get(connection); }), 10u);
}

TEST_F(HttpConnectionMemoryTest, ALaterRequestThatRunsOutOfMemorySaysSo) {
  EXPECT_GT(failEachAllocation([this](HttpConnection& connection) { get(connection); },
                               [this](HttpConnection& connection) { get(connection); }),
            10u);
}

TEST_F(HttpConnectionMemoryTest, AnUnwelcomeAnswerThatRunsOutOfMemorySaysSo) {
  EXPECT_GT(failEachAllocation([](HttpConnection&) {},
                               [this](HttpConnection& connection) { get(connection, "text/a-type-that-is-not-sent"); }),
            10u);
}

TEST_F(HttpConnectionMemoryTest, AFailedTransferThatRunsOutOfMemorySaysSo) {
  const RefusingPort port;
  const qx::Url refused(port.getUrl());
  EXPECT_GT(failEachAllocation([](HttpConnection&) {},
                               [&](HttpConnection& connection) {
                                 connection.getHttpData(refused, "", 200, Exchange::Setup, &exchange);
                               }),
            10u);
}

}  // namespace
}  // namespace qx::test
