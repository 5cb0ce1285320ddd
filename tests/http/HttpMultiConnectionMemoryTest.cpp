#include "netweft/http/HttpMultiConnection.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/AllocationHooks.h"
#include "tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

#include <new>

namespace qx::test {
namespace {

using http::HttpMultiConnection;

/// Pumps during which memory runs out: at the first allocation of the thread, at the second, and so on until one
/// request gets through. The pump must say so, past libcurl where a header or the body is what failed; the request must
/// complete once all the same, and the slot must take the next.
class HttpMultiConnectionMemoryTest : public LibraryFixture {
 protected:
  struct Seen {
    int completions = 0;
    long httpCode = 0;
  };

  static void OnCompletion(HttpMultiConnection&, long httpCode, const string&, const qxVariantMapImpl&, vector<char>&,
                           void* context, void*) {
    auto* const seen = static_cast<Seen*>(context);
    ++seen->completions;
    seen->httpCode = httpCode;
  }

  static void Add(HttpMultiConnection& multi, const string& url) {
    auto request = std::make_unique<HttpMultiConnection::Request>();
    request->url = Url(url);
    multi.addRequest(request);
  }

  static void Pump(HttpMultiConnection& multi) {
    while (!multi.isAllRequestsDone()) multi.updateConnection(10);
  }

  /// How many different allocations failed.
  size_t failEachAllocation(const string& url) {
    for (size_t allowed = 0;; ++allowed) {
      HttpMultiConnection multi(1);
      multi.addCommonHeader("X-Common: long enough not to fit into the string itself");
      Seen seen;
      multi.setCallback(OnCompletion, &seen);
      Add(multi, url);
      bool isTold = false;
      bool isHit = false;
      {
        const AllocationLimit limit(allowed);
        try {
          Pump(multi);
        } catch (const std::bad_alloc&) {
          isTold = true;
        }
        isHit = limit.wasHit();
      }
      // The room that a slot keeps ready for the next body is the one thing that may go missing unseen.
      EXPECT_EQ(isTold, isHit && seen.httpCode != 200) << "after " << allowed << " allocations";
      EXPECT_TRUE(multi.isAllRequestsDone()) << "after " << allowed << " allocations";
      EXPECT_EQ(seen.completions, 1) << "after " << allowed << " allocations";
      Add(multi, server.getUrl());
      Pump(multi);
      EXPECT_EQ(seen.completions, 2);
      EXPECT_EQ(seen.httpCode, 200);
      if (!isHit) return allowed;
    }
  }

  // More than the slot holds ready, so that the body needs memory too.
  ScriptedServer server{[](const Request&) {
    return Reply::Http(200, string(300000, 'x'), {{"X-Answer", "long enough not to fit into the string itself"}});
  }};
};

TEST_F(HttpMultiConnectionMemoryTest, ARequestThatRunsOutOfMemoryCompletesAndThePumpSaysSo) {
  EXPECT_GT(failEachAllocation(server.getUrl()), 10u);
}

TEST_F(HttpMultiConnectionMemoryTest, AFailedTransferThatRunsOutOfMemoryCompletesAndThePumpSaysSo) {
  const RefusingPort port;
  EXPECT_GT(failEachAllocation(port.getUrl()), 3u);
}

}  // namespace
}  // namespace qx::test
