#include "netweft/couch/internal/ConflictSettler.h"

#include "tests/couch/ConflictSolverFixture.h"

#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>

namespace qx::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using Versions = std::list<qxVariantMapImpl>;
using Solver = couch::ConflictSolver;

string Deletion(const string& id, const string& revision) {
  return R"({"_deleted":true,"_id":")" + id + R"(","_rev":")" + revision + R"("})";
}
/// The winner as it is written back when nobody merged anything.
string Kept(const string& id, const string& revision) {
  return R"({"_id":")" + id + R"(","_rev":")" + revision + R"(","text":"of )" + revision + R"("})";
}
string Docs(const string& entries) { return R"({"docs":[)" + entries + "]}"; }

/// What happens to a document in conflict, from the row of the view to the post.
class ConflictSettlerTest : public ConflictSolverFixture {
 protected:
  couch::ResolveConflictRequest mergeRequest() {
    couch::ResolveConflictRequest request = makeRequest();
    request.resolver = OnResolve;
    return request;
  }
  vector<string> errorTexts() const {
    vector<string> texts;
    for (const CapturedLine& line : log.getLines(LT_Error)) texts.push_back(line.text);
    return texts;
  }
  /// One of this document's versions cannot be had.
  void failVersion(const string& target, int status) {
    interpose = [target, status](const Request& request) -> std::optional<Reply> {
      if (request.target != target) return std::nullopt;
      return Reply::Json(status, "{}");
    };
  }

  Gate gate;
};

TEST_F(ConflictSettlerTest, TheLosersAreDeletedAndTheWinnerIsWrittenAnewBehindThem) {
  addDocument("a", {"3-w", "2-k", "1-l"});
  list({"a"});
  EXPECT_EQ(solve(makeRequest()), (End{1, 1, "db", nullptr}));
  EXPECT_THAT(getPosts(),
              ElementsAre(Docs(Deletion("a", "2-k") + "," + Deletion("a", "1-l") + "," + Kept("a", "3-w"))));
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
}

TEST_F(ConflictSettlerTest, EachVersionIsReadByItsRevision) {
  addDocument("a", {"3-w", "2-k", "1-l"});
  list({"a"});
  solve(makeRequest());
  vector<string> lines;
  for (const Request& request : getRequests("GET /db/a")) lines.push_back(request.line);
  EXPECT_THAT(lines, ElementsAre("GET /db/a HTTP/1.1", "GET /db/a?rev=2-k HTTP/1.1", "GET /db/a?rev=1-l HTTP/1.1"));
  const vector<Request> posts = getRequests("POST ");
  ASSERT_THAT(posts, SizeIs(1));
  EXPECT_EQ(posts[0].line, "POST /db/_bulk_docs HTTP/1.1");
  EXPECT_EQ(posts[0].getHeader("Content-Type"), "application/json");
}

TEST_F(ConflictSettlerTest, TheResolverGetsAllVersionsTheWinnerFirst) {
  addDocument("a", {"3-w", "2-k", "1-l"});
  list({"a"});
  vector<string> texts;
  resolve = [&](Versions& versions, qxVariantMapImpl& result) {
    for (const qxVariantMapImpl& version : versions) texts.push_back(version.getString("text", ""));
    EXPECT_TRUE(result.empty());
    return false;
  };
  solve(mergeRequest());
  EXPECT_THAT(texts, ElementsAre("of 3-w", "of 2-k", "of 1-l"));
}

TEST_F(ConflictSettlerTest, WhatTheResolverMadeIsWrittenUnderTheWinnersIdAndRevision) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  resolve = [](Versions&, qxVariantMapImpl& result) {
    result["_id"] = "elsewhere";
    result["_rev"] = "9-z";
    result["merged"] = true;
    return true;
  };
  solve(mergeRequest());
  EXPECT_THAT(getPosts(), ElementsAre(Docs(Deletion("a", "1-l") + R"(,{"_id":"a","_rev":"3-w","merged":true})")));
}

TEST_F(ConflictSettlerTest, AResolverThatTookTheVersionsApartAndSaysNoLeavesTheWinner) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  resolve = [](Versions& versions, qxVariantMapImpl& result) {
    result.swap(versions.front());
    versions.clear();
    return false;
  };
  solve(mergeRequest());
  EXPECT_THAT(getPosts(), ElementsAre(Docs(Deletion("a", "1-l") + "," + Kept("a", "3-w"))));
}

TEST_F(ConflictSettlerTest, AResolverThatThrowsLeavesItsDocumentAndNoOther) {
  addDocument("a", {"3-w", "1-l"});
  addDocument("b", {"3-w", "1-l"});
  list({"a", "b"});
  list({"a"});
  resolve = [](Versions& versions, qxVariantMapImpl&) -> bool {
    if (versions.front().getString("_id", "") == "a") throw std::runtime_error("keep it");
    return false;
  };
  EXPECT_EQ(solve(mergeRequest()).completed, 0);
  ASSERT_FALSE(getPosts().empty());
  EXPECT_EQ(getPosts()[0], Docs(Deletion("b", "1-l") + "," + Kept("b", "3-w")));
  for (const string& post : getPosts()) EXPECT_THAT(post, Not(HasSubstr(R"("_id":"a")")));
  EXPECT_TRUE(log.contains(LT_Error, "keep it"));
}

TEST_F(ConflictSettlerTest, ADocumentWhoseWinnerIsAnotherByNowIsSkipped) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  setVersion("a", VersionText("a", "4-v"));
  EXPECT_EQ(solve(makeRequest()), (End{1, 1, "db", nullptr}));
  EXPECT_THAT(getPosts(), ElementsAre(Docs("")));
  EXPECT_THAT(getRequests("GET /db/a?rev="), IsEmpty());
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
}

TEST_F(ConflictSettlerTest, AWinnerThatIsListedAmongTheLosersIsNotDeleted) {
  addDocument("a", {"3-w", "3-w", "1-l", "3-w"});
  list({"a"});
  solve(makeRequest());
  EXPECT_THAT(getPosts(), ElementsAre(Docs(Deletion("a", "1-l") + "," + Kept("a", "3-w"))));
}

TEST_F(ConflictSettlerTest, ARevisionWithoutANameIsNotDeleted) {
  addDocument("a", {"3-w", "", "1-l"});
  list({"a"});
  solve(makeRequest());
  EXPECT_THAT(getPosts(), ElementsAre(Docs(Deletion("a", "1-l") + "," + Kept("a", "3-w"))));
}

TEST_F(ConflictSettlerTest, WithoutALoserNothingIsWritten) {
  addDocument("a", {"3-w", "3-w"});
  list({"a"});
  solve(makeRequest());
  EXPECT_THAT(getPosts(), ElementsAre(Docs("")));
}

TEST_F(ConflictSettlerTest, AnotherDocumentInThePlaceOfTheWinnerIsRefused) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  setVersion("a", VersionText("b", "3-w"));
  solve(makeRequest());
  EXPECT_THAT(errorTexts(), ElementsAre("Invalid document a"));
  EXPECT_THAT(getPosts(), ElementsAre(Docs("")));
}

TEST_F(ConflictSettlerTest, AWinnerWithoutIdOrRevisionIsRefusedAndTheRequestFails) {
  for (const char* text : {R"({"_rev":"3-w"})", R"({"_id":"a"})", R"({"_id":"","_rev":""})"}) {
    addDocument("a", {"3-w", "1-l"});
    list({"a"});
    list({"a"});
    setVersion("a", text);
    log.clear();
    Solver solver(1, 10, 10);
    const size_t endsBefore = getEnds().size();
    solver.requestResolveConflicts(makeRequest());
    ASSERT_TRUE(waitForEnds(solver, endsBefore + 1));
    EXPECT_EQ(getEnds().back().completed, 0) << text;
    EXPECT_EQ(errorTexts().front(), "Invalid document a");
    EXPECT_THAT(getPosts(), Each(Docs("")));
  }
}

TEST_F(ConflictSettlerTest, ADocumentThatIsGoneIsLoggedAndTheRequestCompletes) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  list({"a"});
  removeVersion("a");
  EXPECT_EQ(solve(makeRequest()), (End{1, 2, "db", nullptr}));
  EXPECT_THAT(errorTexts(), Each(StartsWith("Fail to retrieve document a ")));
  EXPECT_THAT(errorTexts(), SizeIs(2));
}

TEST_F(ConflictSettlerTest, AWinnerThatCannotBeReadFailsTheRequestSilently) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  list({"a"});
  failVersion("/db/a", 500);
  EXPECT_EQ(solve(makeRequest()).completed, 0);
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
  EXPECT_THAT(getPosts(), Each(Docs("")));
}

TEST_F(ConflictSettlerTest, ALoserThatIsGoneIsAnEmptyMapAndIsDeletedAllTheSame) {
  addDocument("a", {"3-w", "2-k", "1-l"});
  list({"a"});
  removeVersion("a?rev=2-k");
  vector<bool> isEmpty;
  resolve = [&](Versions& versions, qxVariantMapImpl&) {
    for (const qxVariantMapImpl& version : versions) isEmpty.push_back(version.empty());
    return false;
  };
  EXPECT_EQ(solve(mergeRequest()), (End{1, 1, "db", nullptr}));
  EXPECT_THAT(isEmpty, ElementsAre(false, true, false));
  EXPECT_THAT(getPosts(),
              ElementsAre(Docs(Deletion("a", "2-k") + "," + Deletion("a", "1-l") + "," + Kept("a", "3-w"))));
  ASSERT_THAT(errorTexts(), SizeIs(1));
  EXPECT_THAT(errorTexts()[0], StartsWith("Fail to retrieve document a 2-k "));
}

TEST_F(ConflictSettlerTest, ALoserThatCannotBeReadFailsTheRequestAndIsDeletedAllTheSame) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  list({"a"});
  failVersion("/db/a?rev=1-l", 500);
  EXPECT_EQ(solve(makeRequest()).completed, 0);
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
  EXPECT_EQ(getPosts().at(0), Docs(Deletion("a", "1-l") + "," + Kept("a", "3-w")));
}

TEST_F(ConflictSettlerTest, ALoserWithoutIdOrRevisionIsLogged) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  setVersion("a?rev=1-l", R"({"_id":"a"})");
  solve(makeRequest());
  EXPECT_THAT(errorTexts(), ElementsAre("Invalid document a 1-l"));
  EXPECT_THAT(getPosts(), ElementsAre(Docs(Deletion("a", "1-l") + "," + Kept("a", "3-w"))));
}

TEST_F(ConflictSettlerTest, ALoserWhoseReadingIsCancelledTakesItsWholeDocumentOut) {
  addDocument("a", {"3-w", "2-k", "1-l"});
  addDocument("b", {"3-w", "2-k", "1-l"});
  list({"a", "b"});
  interpose = [this](const Request& request) -> std::optional<Reply> {
    if (request.target != "/db/b?rev=1-l") return std::nullopt;
    return Reply::Raw("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n").waitFor(gate).send("{}       ");
  };
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  solver.cancelRequest("db", false);
  gate.open();
  ASSERT_TRUE(waitForEnds(solver));
  EXPECT_THAT(getPosts(),
              ElementsAre(Docs(Deletion("a", "2-k") + "," + Deletion("a", "1-l") + "," + Kept("a", "3-w"))));
  EXPECT_THAT(getEnds(), ElementsAre(End{0, 2, "db", nullptr}));
}

TEST_F(ConflictSettlerTest, ACancelBetweenTwoDocumentsPostsWhatHasGathered) {
  addDocument("a", {"3-w", "1-l"});
  addDocument("b", {"3-w", "1-l"});
  list({"a", "b"});
  Solver solver(1, 10, 10);
  resolve = [&](Versions&, qxVariantMapImpl&) {
    solver.cancelRequest("db", false);
    return false;
  };
  solver.requestResolveConflicts(mergeRequest());
  ASSERT_TRUE(waitForEnds(solver));
  EXPECT_THAT(getPosts(), ElementsAre(Docs(Deletion("a", "1-l") + "," + Kept("a", "3-w"))));
  EXPECT_EQ(getEnds()[0].completed, 0);
  EXPECT_THAT(getRequests("GET /db/b"), IsEmpty());
}

TEST_F(ConflictSettlerTest, TheDestructorPostsWhatHasGathered) {
  addDocument("a", {"3-w", "1-l"});
  addDocument("b", {"3-w", "1-l"});
  list({"a", "b"});
  interpose = [this](const Request& request) -> std::optional<Reply> {
    if (request.target != "/db/a?rev=1-l") return std::nullopt;
    return Reply().waitFor(gate).send(Reply::HttpText(200, VersionText("a", "1-l")));
  };
  auto solver = std::make_unique<Solver>(1, 10, 10);
  solver->requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  std::thread destroyer([&] { solver.reset(); });
  qxThread::msleep(50);
  gate.open();
  destroyer.join();
  EXPECT_THAT(getPosts(), ElementsAre(Docs("")));
  EXPECT_THAT(getEnds(), IsEmpty());
}

TEST_F(ConflictSettlerTest, APostThatFailsIsLoggedAndItsDocumentsAreNotDone) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  list({"a"});
  interpose = [](const Request& request) -> std::optional<Reply> {
    if (request.method != "POST") return std::nullopt;
    return Reply::Json(500, "{}");
  };
  EXPECT_EQ(solve(makeRequest()), (End{0, 0, "db", nullptr}));
  EXPECT_THAT(errorTexts(), Each(StartsWith("Fail to remove conflicts of document ")));
  EXPECT_THAT(errorTexts(), Not(IsEmpty()));
}

TEST_F(ConflictSettlerTest, TheViewHasTheLastWord) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  interpose = [](const Request& request) -> std::optional<Reply> {
    if (request.method != "POST") return std::nullopt;
    return Reply::Json(500, "{}");
  };
  EXPECT_EQ(solve(makeRequest()), (End{1, 0, "db", nullptr}));
}

TEST_F(ConflictSettlerTest, AnAnswerThatIsNoListIsLoggedAndItsDocumentsAreNotDone) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  interpose = [](const Request& request) -> std::optional<Reply> {
    if (request.method != "POST") return std::nullopt;
    return Reply::Json(201, "{}");
  };
  EXPECT_EQ(solve(makeRequest()).documentsDone, 0u);
  ASSERT_THAT(errorTexts(), SizeIs(1));
  EXPECT_THAT(errorTexts()[0], StartsWith("Invalid _bulk_doc result "));
}

TEST_F(ConflictSettlerTest, RefusedEntriesAreLoggedAndConflictsAreNot) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  list({"a"});
  const string answer = R"([{"ok":true},{"error":"conflict"},{"error":"forbidden"},7])";
  interpose = [answer](const Request& request) -> std::optional<Reply> {
    if (request.method != "POST") return std::nullopt;
    return Reply::Json(201, answer);
  };
  const End end = solve(makeRequest());
  EXPECT_EQ(end.completed, 0);
  EXPECT_GE(end.documentsDone, 1u);  // the batch was posted
  EXPECT_GE(errorTexts().size(), 2u);
  EXPECT_THAT(errorTexts(), Each("Error while uploading document " + answer));
}

TEST_F(ConflictSettlerTest, AConflictAloneIsNoError) {
  addDocument("a", {"3-w", "1-l"});
  list({"a"});
  list({"a"});
  interpose = [](const Request& request) -> std::optional<Reply> {
    if (request.method != "POST") return std::nullopt;
    return Reply::Json(201, R"([{"error":"conflict"},{"error":"conflict"}])");
  };
  EXPECT_EQ(solve(makeRequest()), (End{1, 2, "db", nullptr}));
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
}

TEST_F(ConflictSettlerTest, BatchesAreTakenInOrderUpToTheirSize) {
  for (const char* id : {"e", "d", "c", "b", "a"}) addDocument(id, {"3-w", "1-l"});
  list({"e", "d", "c", "b", "a"});
  EXPECT_EQ(solve(makeRequest(), 1, 1000, 2), (End{1, 5, "db", nullptr}));
  const auto both = [](const string& id) { return Deletion(id, "1-l") + "," + Kept(id, "3-w"); };
  EXPECT_THAT(getPosts(),
              ElementsAre(Docs(both("a") + "," + both("b")), Docs(both("c") + "," + both("d")), Docs(both("e"))));
}

TEST_F(ConflictSettlerTest, ABatchOfNoneActsAsOne) {
  for (const char* id : {"a", "b"}) addDocument(id, {"3-w", "1-l"});
  list({"a", "b"});
  EXPECT_EQ(solve(makeRequest(), 1, 1000, 0), (End{1, 2, "db", nullptr}));
  EXPECT_THAT(getPosts(), SizeIs(2));
}

TEST_F(ConflictSettlerTest, AfterAFullSliceTheViewIsReadAgainWhenTheJobsRunLow) {
  for (const char* id : {"a", "b", "c", "d"}) addDocument(id, {"3-w", "1-l"});
  list({"a", "b", "c", "d"});
  interpose = [this](const Request& request) -> std::optional<Reply> {
    if (request.target != "/db/a") return std::nullopt;
    return Reply().waitFor(gate).send(Reply::HttpText(200, VersionText("a", "3-w")));
  };
  Solver solver(1, 4, 3);  // the worker takes three: fewer than two jobs are left
  solver.requestResolveConflicts(makeRequest());
  EXPECT_TRUE(waitFor(solver, [&] { return getReadings().size() >= 2; }));
  EXPECT_FALSE(gate.isOpen());
  gate.open();
  EXPECT_TRUE(waitForEnds(solver));
}

TEST_F(ConflictSettlerTest, AfterAShortSliceEverythingIsFinishedFirst) {
  for (const char* id : {"a", "b", "c"}) addDocument(id, {"3-w", "1-l"});
  list({"a", "b", "c"});
  interpose = [this](const Request& request) -> std::optional<Reply> {
    if (request.target != "/db/a") return std::nullopt;
    return Reply().waitFor(gate).send(Reply::HttpText(200, VersionText("a", "3-w")));
  };
  Solver solver(1, 4, 3);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  for (int i = 0; i < 50; ++i) {
    solver.cancelRequest("nobody", false);
    qxThread::msleep(2);
  }
  EXPECT_THAT(getReadings(), SizeIs(1));
  gate.open();
  ASSERT_TRUE(waitForEnds(solver));
  EXPECT_THAT(getReadings(), SizeIs(2));
}

TEST_F(ConflictSettlerTest, TheViewEmptyWhileAWorkerIsBusyIsNotYetTheEnd) {
  for (const char* id : {"a", "b"}) addDocument(id, {"3-w", "1-l"});
  list({"a", "b"});
  interpose = [this](const Request& request) -> std::optional<Reply> {
    if (request.method != "POST") return std::nullopt;
    return Reply().waitFor(gate).send(Reply::HttpText(201, "[]"));
  };
  Solver solver(1, 2, 2);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  EXPECT_TRUE(waitFor(solver, [&] { return getReadings().size() >= 2; }));  // full slice, no jobs left: read again
  EXPECT_THAT(getEnds(), IsEmpty());
  gate.open();
  ASSERT_TRUE(waitForEnds(solver));
  EXPECT_THAT(getEnds(), ElementsAre(End{1, 2, "db", nullptr}));
}

TEST_F(ConflictSettlerTest, IdsAreOneSegmentWhateverTheyHold) {
  addDocument("_design/x y", {"3-w", "1-l"});
  list({"_design/x y"});
  solve(makeRequest());
  EXPECT_THAT(getRequests("GET /db/_design%2Fx%20y HTTP"), SizeIs(1));
}

}  // namespace
}  // namespace qx::test
