#include "netweft/river/internal/JsonExchange.h"

#include "netweft/base/system/qxFlag.h"
#include "tests/http/LibraryFixture.h"
#include "tests/river/JsonText.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

namespace qx::couch {
namespace {

using qx::test::Reply;
using qx::test::Request;
using test::FromJson;
using test::ToJson;

class JsonExchangeTest : public qx::test::LibraryFixture {
 protected:
  JsonReply get(const bool* cancelFlag = nullptr) {
    return GetJson(mConnection, Url(mServer.getUrl("/x")), cancelFlag);
  }
  JsonReply put(const bool* cancelFlag = nullptr) {
    return PutJson(mConnection, Url(mServer.getUrl("/x")), FromJson(R"({ "b" : 1, "a" : [] })"), cancelFlag);
  }

  qx::test::LogCapture mLog;
  qx::test::ScriptedServer mServer;
  http::HttpConnection mConnection{false};
};

TEST_F(JsonExchangeTest, AGetGivesTheObject) {
  mServer.queue(Reply::Json(200, R"({"a":{"b":1}})"));
  const JsonReply reply = get();
  EXPECT_TRUE(reply.good);
  EXPECT_EQ(reply.status, 200U);
  EXPECT_EQ(reply.text, R"({"a":{"b":1}})");
  EXPECT_EQ(ToJson(reply.map), R"({"a":{"b":1}})");
}

TEST_F(JsonExchangeTest, AnEmptyBodyIsAnEmptyObject) {
  mServer.queue(Reply::Http(200));
  const JsonReply reply = get();
  EXPECT_TRUE(reply.good);
  EXPECT_TRUE(reply.map.empty());
}

TEST_F(JsonExchangeTest, WhatIsNoObjectIsNotGood) {
  for (const string body : {"[1]", "{\"a\":1", "{\"a\":1} x", " ", "5"}) {
    mServer.queue(Reply::Http(200, body));
    const JsonReply reply = get();
    EXPECT_FALSE(reply.good) << body;
    EXPECT_EQ(reply.status, 200U);
    EXPECT_TRUE(reply.map.empty()) << body;
  }
}

TEST_F(JsonExchangeTest, AnotherStatusIsNotGoodAndKeepsItsBody) {
  mServer.queue(Reply::Json(404, R"({"error":"x"})"));
  const JsonReply reply = get();
  EXPECT_FALSE(reply.good);
  EXPECT_EQ(reply.status, 404U);
  EXPECT_EQ(reply.text, R"({"error":"x"})");
  EXPECT_TRUE(reply.map.empty());
}

TEST_F(JsonExchangeTest, APutSendsCompactJson) {
  mServer.queue(Reply::Json(200, "{}"));
  EXPECT_TRUE(put().good);
  const Request request = mServer.getRequest(0);
  EXPECT_EQ(request.line, "PUT /x HTTP/1.1");
  EXPECT_EQ(request.body, R"({"a":[],"b":1})");
  EXPECT_EQ(request.getHeader("Content-Type"), "application/json");
  EXPECT_EQ(request.countHeaders("Content-Type"), 1U);
}

TEST_F(JsonExchangeTest, APutIsGoodByItsStatusAlone) {
  mServer.queue(Reply::Http(200, "done"));
  EXPECT_TRUE(put().good);
  mServer.queue(Reply::Json(201, "{}"));
  const JsonReply reply = put();
  EXPECT_FALSE(reply.good);
  EXPECT_EQ(reply.status, 201U);
}

TEST_F(JsonExchangeTest, ARaisedFlagSendsNothing) {
  const bool cancel = true;
  EXPECT_FALSE(get(&cancel).good);
  EXPECT_FALSE(put(&cancel).good);
  EXPECT_EQ(mServer.getRequestCount(), 0U);
}

TEST_F(JsonExchangeTest, AFlagRaisedMeanwhileEndsTheTransfer) {
  bool cancel = false;
  mServer.setHandler([&](const Request&) {
    StoreFlag(cancel, true);
    return Reply::Json(200, "{}");
  });
  EXPECT_FALSE(get(&cancel).good);
  StoreFlag(cancel, false);
  EXPECT_FALSE(put(&cancel).good);
  EXPECT_EQ(mServer.getRequestCount(), 2U);
}

TEST_F(JsonExchangeTest, FailuresAreTheCallersToLog) {
  mServer.queue(Reply::Http(500));
  mServer.queue(Reply::Http(500));
  get();
  put();
  EXPECT_TRUE(mLog.getLines().empty());
}

}  // namespace
}  // namespace qx::couch
