#include "netweft/base/system/qxFlag.h"
#include "tests/http/HelpersFixture.h"

#include <thread>

namespace qx::test {
namespace {

using testing::HasSubstr;

/// Which verbs heed the flag, and when.
class HttpHelpersCancelTest : public HelpersFixture {
 protected:
  bool flag = true;
  const string body = "abc";
};

TEST_F(HttpHelpersCancelTest, AGetEndsAtTheFirstBytesOfItsAnswer) {
  string error;
  HttpResult result;
  result.errorMessage = &error;
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url(), &result, nullptr, nullptr, &flag));
  EXPECT_THAT(error, HasSubstr("Curl error : 23 ("));
  EXPECT_EQ(result.httpReturnCode, 200u);
  EXPECT_FALSE(connection.isLastCallTimedOut());
}

TEST_F(HttpHelpersCancelTest, AGetOfNothingMovesNoBytesAndIsNotEnded) {
  server.queue(Reply::Http(200));
  EXPECT_TRUE(HttpHelpers::HttpGet(connection, url(), nullptr, nullptr, nullptr, &flag));
}

TEST_F(HttpHelpersCancelTest, BothFormsOfGetJsonHeedIt) {
  string content;
  EXPECT_FALSE(HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, &flag));
  EXPECT_FALSE(HttpHelpers::HttpGetJson(connection, url(), content, nullptr, nullptr, nullptr, &flag, &body, true));
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 42 ("));
}

TEST_F(HttpHelpersCancelTest, BodiesEndAtTheFirstBytesThatAreSent) {
  const std::function<bool()> calls[] = {
      [&] { return HttpHelpers::HttpPost(connection, url(), body, 200, nullptr, nullptr, nullptr, &flag); },
      [&] {
        return HttpHelpers::HttpPost(body.data(), body.size(), connection, url(), 200, nullptr, nullptr, nullptr,
                                     &flag);
      },
      [&] {
        return HttpHelpers::HttpPostJson(connection, url(), body.data(), body.size(), 200, nullptr, nullptr, nullptr,
                                         &flag);
      },
      [&] { return HttpHelpers::HttpPut(connection, url(), body, 200, nullptr, nullptr, nullptr, &flag); },
      [&] {
        return HttpHelpers::HttpPutJson(connection, url(), body.data(), body.size(), 200, nullptr, nullptr, nullptr,
                                        &flag);
      },
  };
  for (const auto& call : calls) {
    EXPECT_FALSE(call());
    EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 42 ("));
  }
  EXPECT_EQ(server.getRequestCount(), 0u);
}

TEST_F(HttpHelpersCancelTest, HeadAndDeleteRunToTheirEnd) {
  EXPECT_TRUE(HttpHelpers::HttpHead(connection, url(), nullptr, nullptr, nullptr, &flag));
  EXPECT_TRUE(HttpHelpers::HttpDelete(connection, url(), nullptr, nullptr, nullptr, &flag));
}

TEST_F(HttpHelpersCancelTest, AFlagRaisedInMidBodyEndsTheTransferAtTheNextPiece) {
  flag = false;
  const Gate gate;
  server.queue(Reply::Raw(Reply::HeadText(200, {{"Content-Length", "6"}}) + "abc").waitFor(gate).send("def"));
  std::thread canceller([&] {
    EXPECT_TRUE(gate.waitForArrivals(1));
    StoreFlag(flag, true);
    gate.open();
  });
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url(), nullptr, nullptr, nullptr, &flag));
  canceller.join();
  EXPECT_THAT(connection.getLastErrorMsg(), HasSubstr("Curl error : 23 ("));
}

// The stall rule of one second is what ends it: the flag alone cannot.
TEST_F(HttpHelpersCancelTest, ASilentServerIsLeftToTheStallLimits) {
  server.queue(Reply::Silent());
  http::ConnectionParameters parameters;
  parameters.lowSpeedTimeSec = 1;
  EXPECT_FALSE(HttpHelpers::HttpGet(connection, url(), nullptr, &parameters, nullptr, &flag));
  EXPECT_TRUE(connection.isLastCallTimedOut());
}

}  // namespace
}  // namespace qx::test
