#include "netweft/addressing/Url.h"
#include "netweft/http/HttpHelpers.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/AllocationHooks.h"
#include "tests/support/ScriptedServer.h"

#include <new>

namespace qx::test {
namespace {

using http::HttpConnection;
using http::HttpHelpers;

/// Calls during which memory runs out: at the first allocation of the thread, at the second, and so on until one gets
/// through. The caller must hear of it, past libcurl where a header or the body is what failed, get the connection's
/// own parameters back, and have a connection that works.
class HttpHelpersMemoryTest : public LibraryFixture {
 protected:
  bool put(HttpConnection& connection, HttpHelpers::HttpResult* result, const http::ConnectionParameters* parameters) {
    return HttpHelpers::HttpPut(connection, url, body, 200, result, parameters, &headers);
  }

  ScriptedServer server{[](const Request&) {
    return Reply::Http(200, string(1000, 'x'), {{"X-Answer", "long enough not to fit into the string itself"}});
  }};
  const Url url{server.getUrl("/path")};
  const string body = "abc";
  const list<string> headers = {"X-Header: long enough not to fit into the string itself"};
};

TEST_F(HttpHelpersMemoryTest, ACallThatRunsOutOfMemorySaysSo) {
  http::ConnectionParameters own;
  own.manualProxyUrl = Url("http://a-host-that-is-long-enough-not-to-fit-into-the-string-itself/");
  size_t allowed = 0;
  for (bool isHit = true; isHit; ++allowed) {
    HttpConnection connection(true);
    connection.editConnectionParameters().maxRedirects = 5;
    string content;
    string error;
    map<string, string> responseHeaders;
    HttpHelpers::HttpResult result;
    result.content = &content;
    result.errorMessage = &error;
    result.headers = &responseHeaders;
    bool isTold = false;
    {
      const AllocationLimit limit(allowed);
      try {
        put(connection, &result, &own);
      } catch (const std::bad_alloc&) {
        isTold = true;
      }
      isHit = limit.wasHit();
    }
    EXPECT_EQ(isTold, isHit) << "after " << allowed << " allocations";
    EXPECT_EQ(connection.getConnectionParameters().maxRedirects, 5) << "after " << allowed << " allocations";
    EXPECT_TRUE(put(connection, nullptr, nullptr)) << "after " << allowed << " allocations";
  }
  EXPECT_GT(allowed, 15u);
}

}  // namespace
}  // namespace qx::test
