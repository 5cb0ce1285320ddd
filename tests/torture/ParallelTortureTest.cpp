#include "netweft/couch/MultiThreadedDocumentUploader.h"
#include "netweft/elasticsearch/MultiThreadedDocumentGetter.h"
#include "tests/couch/ConflictSolverFixture.h"
#include "tests/couch/DocumentUpdaterFixture.h"
#include "tests/support/LogCapture.h"
#include "tests/torture/TortureFixture.h"

#include <set>

/// The couch classes with threads of their own. A failure on such a thread ends in its failure path, and the thread
/// goes on.
namespace qx::test {
namespace {

class GetterTortureTest : public Torture<DocumentGetterFixture> {
 protected:
  LogCapture log;
};

TEST_F(GetterTortureTest, EachIdIsAnsweredOnce) {
  const vector<string> ids = MakeIds(5);
  failEach([&](Attempt& attempt) {
    unique_ptr<Getter> getter;
    DeliveryRecorder seen;
    const bool told = attempt.runsOut([&] {
      getter = std::make_unique<Getter>(couchServer, "db", DeliveryRecorder::OnDocument, &seen, nullptr, nullptr, 2, 2,
                                        Getter::DC_Document);
      getter->addJobs(ids);
      EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
    });
    if (getter == nullptr) return;
    EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));  // those that were added before memory ran out
    const vector<string> answered = seen.getIds();
    EXPECT_EQ(std::set<string>(answered.begin(), answered.end()).size(), answered.size());
    EXPECT_TRUE(told || answered.size() == ids.size()) << answered.size();
    EXPECT_TRUE(AwaitThreads("nw-couch-get", 2));
    getter->addJobs({"again"});
    EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
    const auto last = seen.getDeliveries().back();
    EXPECT_EQ(last.result, Getter::DR_Found) << last.error;
  });
}

/// The ids that an Elasticsearch getter has answered.
class Answers {
 public:
  using Getter = elasticsearch::MultiThreadedDocumentGetter;

  static void Record(Getter&, const string& id, const string&, const string&, Getter::DocumentResult result,
                     void* context, void*) {
    const FaultExemption own;
    auto& self = *static_cast<Answers*>(context);
    const std::lock_guard lock(self.mMutex);
    self.mIds.push_back(id);
    self.mLast = result;
  }

  vector<string> getIds() const {
    const std::lock_guard lock(mMutex);
    return mIds;
  }
  Getter::DocumentResult getLast() const {
    const std::lock_guard lock(mMutex);
    return mLast;
  }

 private:
  mutable std::mutex mMutex;
  vector<string> mIds;
  Getter::DocumentResult mLast = Getter::DR_Missing;
};

class ElasticsearchGetterTortureTest : public Torture<LibraryFixture> {
 protected:
  using Getter = Answers::Getter;

  static string NameOf(int number) { return "a document with a long name, " + std::to_string(number); }

  /// With all of them, whatever is asked for.
  static Reply Answer(const Request&) {
    string hits;
    for (int i = 0; i < kCount; ++i) {
      hits += (i == 0 ? "" : ",") + (R"({"_id":")" + NameOf(i)) + R"(","_source":{"id":")" + NameOf(i) + "\"}}";
    }
    return Reply::Json(200, R"({"took":1,"hits":{"total":5,"hits":[)" + hits + "]}}");
  }

  static constexpr int kCount = 5;

  LogCapture log;
  ScriptedServer server{Answer};
  elasticsearch::ESConnectionParameters es = Url(server.getUrl(""));
};

TEST_F(ElasticsearchGetterTortureTest, EachIdIsAnsweredOnce) {
  map<string, string> jobs;
  for (int i = 0; i < kCount; ++i) jobs[NameOf(i)] = "a type with a name that is long, too";
  const qxVariant fields(string("a.field.with.a.long.name"));
  failEach([&](Attempt& attempt) {
    unique_ptr<Getter> getter;
    Answers answers;
    const bool told = attempt.runsOut([&] {
      getter = std::make_unique<Getter>(es, Answers::Record, &answers, nullptr, nullptr, 2, 2, fields);
      getter->addJobs(jobs);
      EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
    });
    if (getter == nullptr) return;
    EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));  // those that were added before memory ran out
    const vector<string> answered = answers.getIds();
    EXPECT_EQ(std::set<string>(answered.begin(), answered.end()).size(), answered.size());
    EXPECT_TRUE(told || answered.size() == jobs.size()) << answered.size();
    EXPECT_TRUE(AwaitThreads("nw-es-get", 2));
    getter->addJob(NameOf(0), "");
    EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr, nullptr));
    EXPECT_EQ(answers.getLast(), Getter::DR_Found);
  });
}

class UploaderTortureTest : public Torture<LibraryFixture> {
 protected:
  using Uploader = couch::MultiThreadedDocumentUploader;

  LogCapture log;
  ScriptedServer server{[](const Request&) { return Reply::Json(201, "[]"); }};
  couch::CouchConnectionParameters couchServer{Url(server.getUrl(""))};
};

TEST_F(UploaderTortureTest, ABatchIsPostedOrItIsKnownThatOneWasNot) {
  failEach([&](Attempt& attempt) {
    unique_ptr<Uploader> uploader;
    uint64 sent = 0;
    std::optional<bool> isWhole;
    const uint64 before = server.getRequestCount();
    attempt.runsOut([&] {
      uploader = std::make_unique<Uploader>(couchServer, "a database with a long name", 2);
      for (int i = 0; i < 3; ++i) {
        string batch = R"({"docs":[{"_id":"long enough not to fit into a string itself"}]})";
        if (!uploader->sendBatch(batch)) break;
        ++sent;
      }
      isWhole = uploader->waitForEnd(nullptr);
    });
    if (uploader == nullptr) return;
    if (!isWhole) isWhole = uploader->waitForEnd(nullptr);
    EXPECT_TRUE(*isWhole || attempt.wasHit());
    const uint64 posted = server.getRequestCount() - before;
    EXPECT_LE(posted, sent);
    EXPECT_TRUE(!*isWhole || posted == sent);
  });
}

class UpdaterTortureTest : public Torture<DocumentUpdaterFixture> {
 protected:
  LogCapture log;
};

TEST_F(UpdaterTortureTest, AllIsUpdatedOrTheLogKnowsWhatWasNot) {
  failEachSingle([&](Attempt& attempt) {
    have(5);
    rewind();
    UpdateRecorder::sDeleted = 0;
    recorder.clear();
    log.clear();
    unique_ptr<Updater> updater;
    bool isListed = false;
    const bool told = attempt.runsOut([&] {
      updater = make(4, 2);
      isListed = updater->applyOnEntireDb(nullptr);
      updater->waitForAllUpdate(nullptr);
    });
    if (updater != nullptr) updater->waitForAllUpdate(nullptr);
    const bool isLogged = !log.getLines(LT_Error).empty();
    EXPECT_TRUE(attempt.wasHit() || (isListed && !isLogged));
    EXPECT_TRUE(told || isLogged || !isListed || recorder.getSeen().size() == 5u);
    recorder.clear();
  });
}

class SolverTortureTest : public Torture<ConflictSolverFixture> {
 protected:
  SolverTortureTest() {
    const vector<string> revisions{"2-b0123456789abcdef0123456789abcdef", "2-a0123456789abcdef0123456789abcdef"};
    for (const string& id : {kFirst, kSecond}) {
      addDocument(id, revisions);
      mRows += (mRows.empty() ? "" : ",") + RowText(id, revisions);
    }
    interpose = [this](const Request& request) -> std::optional<Reply> {
      if (request.method == "POST") mIsSolved = true;
      if (request.target.find("/_view/") == string::npos) return std::nullopt;
      return Reply::Json(200, R"({"rows":[)" + (mIsSolved ? "" : mRows) + "]}");
    };
  }

  bool await(size_t ends) {
    const FaultExemption own;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (getEnds().size() < ends && std::chrono::steady_clock::now() < deadline) {
      // Makes the manager look around sooner than it would by itself, which is what it does in the long runs.
      if (!IsTortureWhole()) mSolver->cancelRequest("nobody", false);
      qxThread::msleep(1);
    }
    return getEnds().size() >= ends;
  }

  const string kFirst = "the first document, with a long name";
  const string kSecond = "the second document, with a long name";
  unique_ptr<Solver> mSolver;
  std::atomic<bool> mIsSolved{false};

 private:
  string mRows;
};

TEST_F(SolverTortureTest, ARequestEndsOnceAndCanBeMadeAgain) {
  failEach([&](Attempt& attempt) {
    const size_t before = getEnds().size();
    mIsSolved = false;
    bool isFiled = false;
    attempt.runsOut([&] {
      mSolver = std::make_unique<Solver>(2, 1000, 1);
      mSolver->requestResolveConflicts(makeRequest());
      isFiled = true;
      EXPECT_TRUE(await(before + 1));
    });
    if (mSolver != nullptr) {
      EXPECT_EQ(getEnds().size(), before + (isFiled ? 1 : 0));
      if (isFiled && !attempt.wasHit()) {
        EXPECT_EQ(getEnds().back().completed, 1);
      }
      mIsSolved = false;
      mSolver->requestResolveConflicts(makeRequest());
      EXPECT_TRUE(await(before + (isFiled ? 2 : 1)));
      EXPECT_EQ(getEnds().back().completed, 1);
      EXPECT_TRUE(mIsSolved);
      EXPECT_TRUE(AwaitThreads("nw-couch-solver", 1));
      EXPECT_TRUE(AwaitThreads("nw-couch-merge", 2));
      mSolver.reset();
    }
  });
}

}  // namespace
}  // namespace qx::test
