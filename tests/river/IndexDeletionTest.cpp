#include "netweft/river/internal/IndexDeletion.h"

#include "netweft/base/system/internal/Clock.h"
#include "netweft/base/system/qxFlag.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

#include <gtest/gtest.h>

namespace qx::couch {
namespace {

using test::Detail;
using test::Error;
using test::Reply;
using test::Request;

constexpr int sTimeoutMs = 5000;

class IndexDeletionTest : public test::LibraryFixture {
 protected:
  bool remove(const string& indexName = "things", int timeoutMs = sTimeoutMs, const bool* cancelFlag = nullptr) {
    const elasticsearch::ESConnectionParameters es{Url(mServer.getUrl(""))};
    return DeleteIndex(indexName, mConnection, es, timeoutMs, cancelFlag);
  }

  vector<string> requests() const {
    vector<string> lines;
    for (const Request& request : mServer.getRequests()) lines.push_back(request.method + " " + request.target);
    return lines;
  }

  /// What the connection says about its last request.
  string lastError() const { return mConnection.getLastErrorMsg(); }

  test::LogCapture mLog;
  test::ScriptedServer mServer;
  http::HttpConnection mConnection{false};
};

TEST_F(IndexDeletionTest, DeletesAndSeesThatTheIndexIsGone) {
  mServer.queue(Reply::Json(200, R"({"acknowledged":true})"));
  mServer.queue(Reply::Http(404));
  EXPECT_TRUE(remove());
  EXPECT_EQ(requests(), (vector<string>{"DELETE /things", "HEAD /things"}));
  EXPECT_TRUE(mLog.getLines().empty());
}

TEST_F(IndexDeletionTest, AnIndexThatWasNotThereIsASuccessWithALine) {
  mServer.queue(Reply::Json(404, R"({"error":"no such index","status":404})"));
  mServer.queue(Reply::Http(404));
  EXPECT_TRUE(remove());
  EXPECT_EQ(mLog.getLines(), vector<test::CapturedLine>{Detail("esriver", "drop index things")});
}

TEST_F(IndexDeletionTest, AnotherStatusIsAnErrorWithTheReply) {
  mServer.queue(Reply::Json(400, R"({"error":"matches an alias"})"));
  EXPECT_FALSE(remove());
  EXPECT_EQ(requests(), vector<string>{"DELETE /things"});
  EXPECT_EQ(mLog.getLines(), vector<test::CapturedLine>{
                                 Error(R"(Cannot delete index: 400 {"error":"matches an alias"} )" + lastError())});
}

TEST_F(IndexDeletionTest, AServerThatIsNotThereIsAnError) {
  const test::RefusingPort nobody;
  const elasticsearch::ESConnectionParameters es{Url(nobody.getUrl(""))};
  EXPECT_FALSE(DeleteIndex("things", mConnection, es, sTimeoutMs));
  EXPECT_EQ(mLog.getLines(), vector<test::CapturedLine>{Error("Cannot delete index: 0  " + lastError())});
}

TEST_F(IndexDeletionTest, AsksAgainUntilTheIndexIsGone) {
  for (const int status : {200, 200, 200, 404}) mServer.queue(Reply::Http(status));
  EXPECT_TRUE(remove());
  EXPECT_EQ(requests(), (vector<string>{"DELETE /things", "HEAD /things", "HEAD /things", "HEAD /things"}));
}

TEST_F(IndexDeletionTest, AnIndexThatStaysEndsInATimeout) {
  mServer.setHandler([](const Request& request) {
    if (request.method == "HEAD") impl::AdvanceClock(3000);
    return Reply::Http(200);
  });
  EXPECT_FALSE(remove());
  EXPECT_EQ(requests(), (vector<string>{"DELETE /things", "HEAD /things", "HEAD /things"}));
  EXPECT_EQ(mLog.getLines(), vector<test::CapturedLine>{Error("Error while waiting for index destruction, timeout")});
}

TEST_F(IndexDeletionTest, WithoutATimeLimitOneAnswerThatItIsThereIsTheTimeout) {
  mServer.setHandler([](const Request& request) {
    if (request.method == "HEAD") impl::AdvanceClock(1);
    return Reply::Http(200);
  });
  EXPECT_FALSE(remove("things", 0));
  EXPECT_EQ(requests(), (vector<string>{"DELETE /things", "HEAD /things"}));
  EXPECT_EQ(mLog.getLines(), vector<test::CapturedLine>{Error("Error while waiting for index destruction, timeout")});
}

TEST_F(IndexDeletionTest, AnotherAnswerToTheQuestionIsAnError) {
  mServer.queue(Reply::Http(200));
  mServer.queue(Reply::Http(503));
  EXPECT_FALSE(remove());
  EXPECT_EQ(mLog.getLines(),
            vector<test::CapturedLine>{Error("Error while waiting for index destruction, head return 503")});
}

TEST_F(IndexDeletionTest, NoAnswerToTheQuestionIsAnError) {
  // On a connection of its own: on a kept one the client would ask a second time.
  mServer.queue(Reply::Http(200).close());
  mServer.queue(Reply::Raw("HTTP/1.1 ").close());
  EXPECT_FALSE(remove());
  EXPECT_EQ(mLog.getLines(),
            vector<test::CapturedLine>{Error("Error while waiting for index destruction, head return 0")});
}

TEST_F(IndexDeletionTest, ALongReplyIsCutInTheLog) {
  mServer.queue(Reply::Http(500, string(100000, 'x')));
  EXPECT_FALSE(remove());
  EXPECT_LT(mLog.getLines().at(0).text.size(), 6000U);
}

TEST_F(IndexDeletionTest, TheNameIsEscapedInThePath) {
  mServer.queue(Reply::Http(200));
  mServer.queue(Reply::Http(404));
  EXPECT_TRUE(remove("50%"));
  EXPECT_EQ(requests(), (vector<string>{"DELETE /50%25", "HEAD /50%25"}));
}

TEST_F(IndexDeletionTest, ANameThatMeansMoreThanOneIndexSendsNothing) {
  for (const string name : {"*", "_all", "a,b", "", "a*", "-a", "a/b", ".."}) {
    mLog.clear();
    EXPECT_FALSE(remove(name)) << name;
    EXPECT_EQ(mLog.getLines(), vector<test::CapturedLine>{
                                   Error("Index name '" + name + "' is refused, it does not name one single index")});
  }
  EXPECT_TRUE(requests().empty());
}

// The flag.

TEST_F(IndexDeletionTest, ARaisedFlagSendsNothing) {
  const bool cancel = true;
  EXPECT_FALSE(remove("things", sTimeoutMs, &cancel));
  EXPECT_TRUE(requests().empty());
  EXPECT_TRUE(mLog.getLines().empty());
}

TEST_F(IndexDeletionTest, AFlagRaisedDuringTheDeletionEndsItThere) {
  bool cancel = false;
  for (const int status : {200, 500}) {
    StoreFlag(cancel, false);
    mServer.setHandler([&](const Request&) {
      StoreFlag(cancel, true);
      return Reply::Http(status);
    });
    EXPECT_FALSE(remove("things", sTimeoutMs, &cancel));
  }
  EXPECT_EQ(requests(), (vector<string>{"DELETE /things", "DELETE /things"}));
  EXPECT_TRUE(mLog.getLines().empty());
}

TEST_F(IndexDeletionTest, AFlagRaisedDuringTheWaitEndsIt) {
  bool cancel = false;
  for (const int status : {200, 500}) {
    StoreFlag(cancel, false);
    mServer.setHandler([&](const Request& request) {
      if (request.method != "HEAD") return Reply::Http(200);
      StoreFlag(cancel, true);
      return Reply::Http(status);
    });
    EXPECT_FALSE(remove("things", sTimeoutMs, &cancel));
  }
  EXPECT_EQ(requests(), (vector<string>{"DELETE /things", "HEAD /things", "DELETE /things", "HEAD /things"}));
  EXPECT_TRUE(mLog.getLines().empty());
}

}  // namespace
}  // namespace qx::couch
