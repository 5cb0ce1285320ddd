#include "netweft/couch/ConflictSolver.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxFlag.h"
#include "tests/live/ConflictTrees.h"
#include "tests/live/CouchWorld.h"
#include "tests/support/LogCapture.h"

#include <algorithm>
#include <atomic>
#include <iostream>
#include <thread>

namespace qx::test {
namespace {

using couch::ConflictSolver;
using couch::ResolveConflictRequest;
using Leaves = map<string, DocumentLeaves>;

constexpr uint64 sDocuments = 150;

/// What a request told when it ended.
struct EndBook {
  std::atomic<int> ends{0};
  std::atomic<int> completed{-1};
  std::atomic<uint64> documentsDone{0};
};

void OnFinished(int completed, uint64 documentsDone, const ResolveConflictRequest& request) {
  EndBook& book = *static_cast<EndBook*>(request.userData);
  book.completed = completed;
  book.documentsDone = documentsDone;
  ++book.ends;
}

string Join(vector<string> texts) {
  std::sort(texts.begin(), texts.end());
  string joined;
  for (const string& text : texts) joined += text + ",";
  return joined;
}

/// Keeps the winner and notes the texts of all versions.
bool Merge(list<qxVariantMapImpl>& versions, qxVariantMapImpl& result, const ResolveConflictRequest&) {
  vector<string> texts;
  for (const qxVariantMapImpl& version : versions) {
    if (!version.empty()) texts.push_back(version.getString("text", ""));
  }
  result = versions.front();
  result["merged"] = Join(texts);
  return true;
}

std::atomic<uint64> sCounted{0};

/// Leaves the winner as it is; tells how far the solver has come.
bool Count(list<qxVariantMapImpl>&, qxVariantMapImpl&, const ResolveConflictRequest&) {
  ++sCounted;
  return false;
}

/// The content that the solver leaves.
string Expected(const DocumentLeaves& before, bool isMerged) {
  const string& content = before.live.at(before.winner);
  if (!isMerged) return content;
  qxVariantMapImpl document;
  json::Json2Variant::Convert(content.data(), content.size(), document);
  document["merged"] = Join(before.getTexts());
  string text;
  json::Json2Variant::Convert(document, text, false);
  return text;
}

bool IsInConflict(const DocumentLeaves& leaves) { return leaves.live.size() > 1; }

/// One live leaf, one revision above the winner's, with the content wanted; every loser is deleted, and nothing else.
bool IsSolved(const DocumentLeaves& before, const DocumentLeaves& after, bool isMerged) {
  return after.live.size() == 1 && RevisionNumber(after.winner) == RevisionNumber(before.winner) + 1 &&
         after.live.begin()->first == after.winner && after.live.begin()->second == Expected(before, isMerged) &&
         after.deleted.size() == before.deleted.size() + before.live.size() - 1;
}

/// Random trees in a database of their own: of documents that the view lists, and of others that it must not touch.
class ConflictSolverLiveTest : public CouchWorld {
 protected:
  void SetUp() override {
    CouchWorld::SetUp();
    if (IsSkipped()) return;
    mDb = freshName("conflicts");
    createDatabase(mDb);
    ConflictTrees trees(mSeed);
    string entries;
    for (uint64 i = 0; i < sDocuments; ++i) {
      mIds.push_back("doc" + std::to_string(i));
      entries += (entries.empty() ? "" : ",") + trees.make(mIds.back(), i % 5 == 4 ? "out" : "in");
    }
    bulkDocs(mDb, "[" + entries + "]", false);
    bulkDocs(mDb, R"([{"_id":"_design/conflicts","views":{"all":{"map":"function (doc) { if (doc._conflicts && )"
                  R"(doc.kind === 'in') emit(null, [doc._rev].concat(doc._conflicts)); }"}}}])");
    mBefore = read();
  }

  void TearDown() override {
    if (!HasFailure()) return;
    for (const CapturedLine& line : mLog.getLines()) {
      if (line.type != LT_Detail) std::cout << line << "\n";
    }
  }

  Leaves read() const {
    return ConflictTrees::Read(mIds, [this](const string& path) {
      string reply;
      request("GET", couch().getUrl() + "/" + mDb + "/" + path, "", &reply);
      return reply;
    });
  }

  ResolveConflictRequest makeRequest(bool isMerged) {
    ResolveConflictRequest request;
    request.fromEncodedUtf8String(couch().getUrl(), nullptr, false);
    request.dbName = mDb;
    request.viewPath = {"_design", "conflicts", "_view", "all"};
    request.resolver = isMerged ? Merge : nullptr;
    request.onFinished = OnFinished;
    request.userData = &mEnds;
    return request;
  }

  /// Without the clock of `waitFor`, which would run into time limits.
  void waitForEnd(int ends) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(3);
    while (mEnds.ends < ends && std::chrono::steady_clock::now() < deadline) qxThread::msleep(20);
    EXPECT_GE(mEnds.ends, ends);
  }

  void solveAll(bool isMerged) {
    const int before = mEnds.ends;
    ConflictSolver solver(3, 40, 7);
    solver.requestResolveConflicts(makeRequest(isMerged));
    waitForEnd(before + 1);
    EXPECT_EQ(mEnds.completed, 1);
  }

  /// The view lists it.
  bool isListed(const string& id) const {
    const DocumentLeaves& leaves = mBefore.at(id);
    return IsInConflict(leaves) && leaves.live.at(leaves.winner).find(R"("kind":"in")") != string::npos;
  }

  /// Each document is as it was, or, if it was listed, solved.
  void expectWholeOrUntouched(bool isMerged) const {
    const Leaves after = read();
    uint64 solved = 0;
    for (const auto& [id, leaves] : after) {
      if (leaves == mBefore.at(id)) continue;
      EXPECT_TRUE(isListed(id)) << id << " was not listed and has changed";
      EXPECT_TRUE(IsSolved(mBefore.at(id), leaves, isMerged)) << id << " is neither whole nor untouched";
      ++solved;
    }
    std::cout << solved << " solved" << std::endl;
  }

  void expectAllSolved(bool isMerged) const {
    uint64 listed = 0;
    for (const auto& [id, leaves] : read()) {
      if (isListed(id)) {
        EXPECT_TRUE(IsSolved(mBefore.at(id), leaves, isMerged)) << id;
        ++listed;
      } else {
        EXPECT_EQ(leaves, mBefore.at(id)) << id << " was not listed and has changed";
      }
    }
    EXPECT_GT(listed, sDocuments / 5);
  }

  const unsigned mSeed = static_cast<unsigned>(std::random_device()());
  testing::ScopedTrace mTrace{__FILE__, __LINE__, "seed " + std::to_string(mSeed)};
  LogCapture mLog;
  EndBook mEnds;
  string mDb;
  vector<string> mIds;
  Leaves mBefore;
};

TEST_F(ConflictSolverLiveTest, OneLeafRemainsOfEveryTreeWithTheContentOfTheWinner) {
  solveAll(false);
  expectAllSolved(false);
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
}

TEST_F(ConflictSolverLiveTest, OneLeafRemainsOfEveryTreeWithTheContentOfTheMerge) {
  solveAll(true);
  expectAllSolved(true);
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
}

TEST_F(ConflictSolverLiveTest, TheNewRevisionStandsOnTheWinner) {
  solveAll(true);
  for (const string& id : mIds) {
    if (!isListed(id)) continue;
    string reply;
    request("GET", couch().getUrl() + "/" + mDb + "/" + id + "?revs=true", "", &reply);
    qxVariantMapImpl document;
    json::Json2Variant::Convert(reply.data(), reply.size(), document);
    const qxVariantListImpl hashes = document.getValuePath("_revisions/ids", {}, '/').toList();
    ASSERT_GT(hashes.size(), 1u) << id;
    const string winner = mBefore.at(id).winner;
    EXPECT_EQ(hashes[1].toString(), winner.substr(winner.find('-') + 1)) << id;
  }
}

#if defined(NETWEFT_SOLVE_CONFLICTS)
TEST_F(ConflictSolverLiveTest, TheExampleSolvesADatabase) {
  ChildProcess example({NETWEFT_SOLVE_CONFLICTS, couch().getUrl() + "/" + mDb, "conflicts", "all"});
  string line;
  ASSERT_TRUE(example.readLine(line, 300'000));
  EXPECT_EQ(line.find("but not all"), string::npos) << line;
  EXPECT_EQ(example.wait(60'000), 0);
  expectAllSolved(false);  // every version has the same members: there is nothing to add
}
#endif

TEST_F(ConflictSolverLiveTest, CancelsAtAnyMomentLeaveEveryDocumentWholeOrUntouched) {
  ConflictTrees random(mSeed + 1);
  for (int round = 0; round < 12; ++round) {
    auto solver = std::make_unique<ConflictSolver>(2, 30, 5);
    solver->requestResolveConflicts(makeRequest(true));
    qxThread::msleep(static_cast<unsigned long>(random.below(120)));
    if (round % 3 == 0) solver->cancelRequest(mDb, true);
    if (round % 3 == 1) solver->cancelAllRequests(true);
    solver.reset();
    expectWholeOrUntouched(true);
  }
  solveAll(true);
  expectAllSolved(true);
}

TEST_F(ConflictSolverLiveTest, AServerKilledAtAnyMomentLeavesEveryDocumentWholeOrUntouched) {
  ConflictTrees random(mSeed + 2);
  for (int round = 0; round < 4; ++round) {
    const int before = mEnds.ends;
    ConflictSolver solver(2, 30, 5);
    ResolveConflictRequest request = makeRequest(false);
    request.resolver = Count;
    const uint64 moment = sCounted + 1 + random.below(20);
    solver.requestResolveConflicts(request);
    while (sCounted < moment && mEnds.ends == before) qxThread::msleep(1);
    couch().kill();
    waitForEnd(before + 1);  // while it is away, so that no loser is read in part
    couch().restart();
    expectWholeOrUntouched(false);
  }
  solveAll(false);
  expectAllSolved(false);
}

TEST_F(ConflictSolverLiveTest, AWriterBesideItLosesNothing) {
  // Each document that is listed gets edits of its winner while the solver is at work.
  map<string, int> accepted;
  bool stop = false;
  std::thread writer([&] {
    for (int edit = 1; !ReadFlag(stop); ++edit) {
      for (const string& id : mIds) {
        if (!isListed(id) || ReadFlag(stop)) continue;
        const string body =
            R"({"_rev":")" + revisionOf(mDb, id) + R"(","kind":"in","text":"t","edit":)" + std::to_string(edit) + "}";
        if (request("PUT", couch().getUrl() + "/" + mDb + "/" + id, body) == 201) accepted[id] = edit;
      }
    }
  });
  solveAll(false);
  StoreFlag(stop, true);
  writer.join();
  solveAll(false);
  for (const auto& [id, leaves] : read()) {
    if (!isListed(id)) {
      EXPECT_EQ(leaves, mBefore.at(id)) << id;
      continue;
    }
    ASSERT_EQ(leaves.live.size(), 1u) << id;
    if (accepted.count(id) == 0) continue;
    const string wanted = R"("edit":)" + std::to_string(accepted.at(id)) + ",";
    EXPECT_NE(leaves.live.begin()->second.find(wanted), string::npos) << id << ": " << leaves.live.begin()->second;
  }
  EXPECT_FALSE(accepted.empty());
}

}  // namespace
}  // namespace qx::test
