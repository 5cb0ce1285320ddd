#include "netweft/addressing/Url.h"
#include "netweft/frame/Netweft.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/HttpHelpers.h"
#include "tests/support/ScriptedServer.h"
#include "tests/torture/TortureFixture.h"

namespace qx::test {
namespace {

class LifecycleTortureTest : public Torture<> {};

TEST_F(LifecycleTortureTest, AStartIsDoneOrTellsAndIsUndoneEitherWay) {
  ScriptedServer server([](const Request&) { return Reply::Http(200, "hello"); });
  const Url url(server.getUrl("/"));
  const auto start = [] { initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy); };
  failEach([&](Attempt& attempt) {
    if (attempt.runsOut(start)) {
      EXPECT_TRUE(IsNetweftInitialized());
      terminateNetweft();
      EXPECT_FALSE(IsNetweftInitialized());
      start();
    }
    {
      http::HttpConnection connection(false);
      EXPECT_TRUE(http::HttpHelpers::HttpGet(connection, url));
    }
    terminateNetweft();
  });
}

}  // namespace
}  // namespace qx::test
