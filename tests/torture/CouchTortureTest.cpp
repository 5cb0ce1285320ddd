#include "netweft/couch/ChangesListener.h"
#include "netweft/couch/FetchCouchDbView.h"
#include "netweft/http/HttpConnection.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"
#include "tests/torture/TortureFixture.h"

#include <algorithm>

namespace qx::test {
namespace {

using couch::ChangesListener;
using couch::CouchConnectionParameters;

const string kDatabase = "a database with a name that is long enough";
const string kId = "a document with an identifier that is long enough, ";

class CouchTortureTest : public Torture<LibraryFixture> {
 protected:
  LogCapture log;
};

/// Views.

struct Rows {
  static bool Record(const string& id, qxVariant&, qxVariant&, void* rows) {
    const FaultExemption own;
    static_cast<Rows*>(rows)->ids.push_back(id);
    return true;
  }

  vector<string> ids;
};

TEST_F(CouchTortureTest, AViewIsReadWholeOrTold) {
  string text = R"({"total_rows":9,"offset":0,"rows":[)";
  for (int i = 0; i < 9; ++i) {
    text += (i == 0 ? "" : ",\n") + (R"({"id":")" + kId) + std::to_string(i) + R"(","key":["a",1],"value":{"b":1.5}})";
  }
  text += "]}";
  ScriptedServer server([&](const Request&) { return Reply::Json(200, text); });
  const CouchConnectionParameters couch{Url(server.getUrl(""))};
  const vector<string> keys{kId + "0", kId + "1"};
  failEach([&](Attempt& attempt) {
    http::HttpConnection connection(true);
    const auto fetch = [&](Rows& rows) {
      return FetchCouchDbView(connection, couch, kDatabase, "a", "view", &keys, Rows::Record, &rows, -1, 0, nullptr);
    };
    {
      Rows rows;
      bool done = false;
      const bool told = attempt.runsOut([&] { done = fetch(rows); });
      EXPECT_TRUE(told || attempt.wasHit() || done);
      EXPECT_FALSE(told && done);
      EXPECT_TRUE(!done || rows.ids.size() == 9);
    }
    Rows rows;
    EXPECT_TRUE(fetch(rows));
    EXPECT_EQ(rows.ids.size(), 9u);
  });
}

/// Feeds.

string ChangeLine(int seq) {
  return R"({"seq":)" + std::to_string(seq) + R"(,"id":")" + kId + std::to_string(seq) +
         R"(","changes":[{"rev":"1-0123456789abcdef0123456789abcdef"},{"rev":"1-a"}]})" + "\n";
}

int SinceOf(const Request& request) {
  const size_t at = request.target.find("since=");
  return at == string::npos ? 0 : std::stoi(request.target.substr(at + 6));
}

constexpr int kLastChange = 4;

/// A database with four changes, of which a request gets two and a heartbeat between them; and where there is no
/// sequence yet, the number that it begins with. Each answer is one send: a second would wait for the client's delayed
/// acknowledgement.
///
/// Without memory for a query, libcurl 7.88 asks without it.
Reply AnswerFeed(const Request& request) {
  if (request.target.find("_changes") == string::npos) return Reply::Json(200, R"({"update_seq":0})");
  if (request.target.find('?') == string::npos) return Reply::Json(200, R"({"results":[],"last_seq":0})");
  const int since = SinceOf(request);
  string body = Reply::HeadText(200, {{"Content-Type", "application/json"}, {"Transfer-Encoding", "chunked"}});
  if (since >= kLastChange) return Reply::Raw(body).hold();
  body += Reply::ChunkText(ChangeLine(since + 1)) + Reply::ChunkText("\n");
  if (since + 1 < kLastChange) body += Reply::ChunkText(ChangeLine(since + 2));
  return Reply::Raw(body + "0\r\n\r\n");
}

struct Feed {
  static void Record(ChangesListener::CallbackMsg msg, const ChangesListener::CallbackParam& param, void* feed) {
    if (msg != ChangesListener::CM_NewChange) return;
    auto& self = *static_cast<Feed*>(feed);
    {
      const FaultExemption own;
      self.seqs.push_back(param.seq);
    }
    if (self.isWhole()) self.listener->stopListeningDb(kDatabase);
  }

  bool isWhole() const { return !seqs.empty() && seqs.back() == kLastChange; }

  vector<int64> seqs;
  ChangesListener* listener = nullptr;
};

TEST_F(CouchTortureTest, AFeedLosesNoChange) {
  ScriptedServer server(AnswerFeed);
  const CouchConnectionParameters couch{Url(server.getUrl(""))};
  failEach([&](Attempt& attempt) {
    Feed feed;
    unique_ptr<ChangesListener> listener;
    const auto follow = [&] {
      if (listener == nullptr) listener = std::make_unique<ChangesListener>(couch);
      feed.listener = listener.get();
      if (!listener->isListeningDb(kDatabase)) {
        listener->startListeningDb(kDatabase, -1, Feed::Record, &feed, ChangesListener::RC_ChangesOnly, 60, 30, -1);
      }
      while (!feed.isWhole()) listener->updateListener(1);
    };
    const bool told = attempt.runsOut(follow);
    EXPECT_TRUE(attempt.wasHit() || !told);
    if (told && !feed.isWhole()) follow();
    EXPECT_EQ(feed.seqs, (vector<int64>{1, 2, 3, 4}));
    vector<int64>().swap(feed.seqs);
  });
}

}  // namespace
}  // namespace qx::test
