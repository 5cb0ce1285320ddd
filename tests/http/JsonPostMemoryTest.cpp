#include "netweft/addressing/Url.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/internal/JsonPost.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/AllocationHooks.h"
#include "tests/support/ScriptedServer.h"

#include <new>

namespace qx::test {
namespace {

class JsonPostMemoryTest : public LibraryFixture {};

TEST_F(JsonPostMemoryTest, AnAnswerThatMemoryRanOutOverSpoilsNoLaterOne) {
  const string text = R"({"an":"answer that is long enough not to fit into the string itself"})";
  ScriptedServer server([&text](const Request&) { return Reply::Json(200, text); });
  const Url url(server.getUrl("/path"));
  bool isHit = true;
  for (size_t allowed = 0; isHit; ++allowed) {
    http::HttpConnection connection(true);
    http::impl::JsonPost post;
    bool isTold = false;
    {
      const AllocationLimit limit(allowed);
      try {
        post.perform(connection, url);
      } catch (const std::bad_alloc&) {
        isTold = true;
      }
      isHit = limit.wasHit();
    }
    EXPECT_EQ(isTold, isHit) << "after " << allowed << " allocations";
    EXPECT_NO_THROW(EXPECT_TRUE(post.perform(connection, url))) << "after " << allowed << " allocations";
    EXPECT_EQ(post.response, text);
  }
}

}  // namespace
}  // namespace qx::test
