#include "netweft/couch/ConflictSolver.h"

#include "netweft/base/system/internal/Clock.h"
#include "tests/couch/ConflictSolverFixture.h"
#include "tests/couch/ForcedTimeout.h"
#include "tests/support/CpuTime.h"
#include "tests/support/ThreadNames.h"

#include <gmock/gmock.h>

#include <future>

namespace qx::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Solver = couch::ConflictSolver;

/// How requests queue, are served, end and are cancelled.
class ConflictSolverTest : public ConflictSolverFixture {
 protected:
  /// Requests whose target holds `part` stand at the gate before they are answered.
  void holdAtGate(const string& part, const string& body = R"({"rows":[]})") {
    interpose = [this, part, body](const Request& request) -> std::optional<Reply> {
      if (request.target.find(part) == string::npos) return std::nullopt;
      const HeaderLines length = {{"Content-Length", std::to_string(body.size())}};
      return Reply::Raw(Reply::HeadText(200, length)).waitFor(gate).send(body);
    };
  }

  /// The one reason for which a request was given up.
  void expectGivenUp(const End& end, const string& line) {
    EXPECT_EQ(end, (End{0, 0, "db", nullptr}));
    const vector<CapturedLine> errors = log.getLines(LT_Error);
    ASSERT_THAT(errors, SizeIs(1));
    EXPECT_THAT(errors[0].text, StartsWith(line));
    EXPECT_EQ(errors[0].channel, "");
  }

  Gate gate;
};

TEST_F(ConflictSolverTest, ARequestWithoutADatabaseIsIgnored) {
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest(""));
  solver.requestResolveConflicts(makeRequest("db"));
  ASSERT_TRUE(waitForEnds(solver));
  EXPECT_THAT(getEnds(), ElementsAre(End{1, 0, "db", nullptr}));
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(ConflictSolverTest, ADatabaseWithoutConflictsIsReadOnce) {
  EXPECT_EQ(solve(makeRequest()), (End{1, 0, "db", nullptr}));
  ASSERT_EQ(server.getRequestCount(), 1u);
  EXPECT_EQ(server.getRequest(0).line, "GET /db/_design/c/_view/all?include_docs=false&limit=1000 HTTP/1.1");
}

TEST_F(ConflictSolverTest, TheQueryOfTheServersUrlIsKept) {
  addDocument("a", {"2-w", "1-l"});
  setVersion("a?stale=false", VersionText("a", "2-w"));
  setVersion("a?stale=false&rev=1-l", VersionText("a", "1-l"));
  list({"a"});
  couch::ResolveConflictRequest request = makeRequest();
  request.setUrlParameters({{"stale", "false"}});
  EXPECT_EQ(solve(request), (End{1, 1, "db", nullptr}));
  EXPECT_THAT(getReadings()[0].target, testing::EndsWith("/all?stale=false&include_docs=false&limit=1000"));
  EXPECT_THAT(getRequests("GET /db/a?stale=false&rev=1-l "), SizeIs(1));
  EXPECT_THAT(getRequests("POST /db/_bulk_docs?stale=false "), SizeIs(1));
}

TEST_F(ConflictSolverTest, ASecondRequestReplacesTheOneThatWaits) {
  holdAtGate("/first/");
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest("first"));
  ASSERT_TRUE(gate.waitForArrivals(1));
  int one = 1;
  int two = 2;
  couch::ResolveConflictRequest request = makeRequest("second");
  request.userData = &one;
  solver.requestResolveConflicts(request);
  request.userData = &two;
  solver.requestResolveConflicts(request);
  gate.open();
  ASSERT_TRUE(waitForEnds(solver, 2));
  solver.cancelAllRequests(true);
  ASSERT_THAT(getEnds(), SizeIs(2));
  EXPECT_EQ(getEnds()[1].userData, &two);
}

TEST_F(ConflictSolverTest, TheLowestNameIsServedFirst) {
  holdAtGate("/m/");
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest("m"));
  ASSERT_TRUE(gate.waitForArrivals(1));
  for (const char* name : {"z", "a", "k"}) solver.requestResolveConflicts(makeRequest(name));
  gate.open();
  ASSERT_TRUE(waitForEnds(solver, 4));
  vector<string> names;
  for (const End& end : getEnds()) names.push_back(end.dbName);
  EXPECT_THAT(names, ElementsAre("m", "a", "k", "z"));
}

TEST_F(ConflictSolverTest, ARequestForTheDatabaseBeingServedWaitsBehindIt) {
  holdAtGate("/db/");
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  solver.requestResolveConflicts(makeRequest());
  gate.open();
  ASSERT_TRUE(waitForEnds(solver, 2));
  EXPECT_THAT(getReadings(), SizeIs(2));
}

TEST_F(ConflictSolverTest, AWaitingRequestThatIsCancelledTellsNobody) {
  holdAtGate("/first/");
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest("first"));
  ASSERT_TRUE(gate.waitForArrivals(1));
  solver.requestResolveConflicts(makeRequest("second"));
  solver.cancelRequest("second", false);
  solver.requestResolveConflicts(makeRequest("third"));
  gate.open();
  ASSERT_TRUE(waitForEnds(solver, 2));
  EXPECT_THAT(getEnds(), ElementsAre(End{1, 0, "first", nullptr}, End{1, 0, "third", nullptr}));
}

TEST_F(ConflictSolverTest, CancellingAnotherDatabaseLeavesTheOneBeingServedAndCanWaitForIt) {
  holdAtGate("/db/");
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  std::future<void> call = std::async(std::launch::async, [&] { solver.cancelRequest("other", true); });
  EXPECT_NE(call.wait_for(milliseconds(200)), std::future_status::ready);
  gate.open();
  call.get();
  EXPECT_THAT(getEnds(), ElementsAre(End{1, 0, "db", nullptr}));
}

TEST_F(ConflictSolverTest, WaitingWithNothingBeingServedReturnsAtOnce) {
  Solver solver(1, 10, 10);
  solver.cancelRequest("db", true);
  solver.cancelAllRequests(true);
}

TEST_F(ConflictSolverTest, ACancelledReadingEndsTheRequest) {
  holdAtGate("/db/");
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  solver.cancelRequest("db", false);
  gate.open();
  ASSERT_TRUE(waitForEnds(solver));
  EXPECT_THAT(getEnds(), ElementsAre(End{0, 0, "db", nullptr}));
}

TEST_F(ConflictSolverTest, CancellingAllDropsWhatWaitsAndEndsTheOneBeingServed) {
  holdAtGate("/db/");
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  solver.requestResolveConflicts(makeRequest("second"));
  std::future<void> call = std::async(std::launch::async, [&] { solver.cancelAllRequests(true); });
  EXPECT_NE(call.wait_for(milliseconds(100)), std::future_status::ready);
  gate.open();
  call.get();
  EXPECT_THAT(getEnds(), ElementsAre(End{0, 0, "db", nullptr}));
}

TEST_F(ConflictSolverTest, TheFlagsOfACancelledRequestDoNotReachTheNext) {
  holdAtGate("/db/");
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  gate.open();
  solver.cancelRequest("db", true);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(waitForEnds(solver, 2));
  EXPECT_EQ(getEnds()[1], (End{1, 0, "db", nullptr}));
}

TEST_F(ConflictSolverTest, ARequestFiledWhileTheCancelledOneEndsGoesWithIt) {
  holdAtGate("/db/");
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  solver.cancelRequest("db", false);
  solver.requestResolveConflicts(makeRequest());
  solver.requestResolveConflicts(makeRequest("z"));
  gate.open();
  ASSERT_TRUE(waitForEnds(solver, 2));
  EXPECT_THAT(getEnds(), ElementsAre(End{0, 0, "db", nullptr}, End{1, 0, "z", nullptr}));
}

TEST_F(ConflictSolverTest, TheDestructorWaitsForTheReadingInFlightAndTellsNobody) {
  holdAtGate("/db/");
  auto solver = std::make_unique<Solver>(2, 10, 10);
  solver->requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  solver->requestResolveConflicts(makeRequest("second"));
  std::future<void> end = std::async(std::launch::async, [&] { solver.reset(); });
  EXPECT_NE(end.wait_for(milliseconds(200)), std::future_status::ready);
  gate.open();
  end.get();
  EXPECT_THAT(getRequests("GET /second"), IsEmpty());
  EXPECT_THAT(getEnds(), IsEmpty());
}

TEST_F(ConflictSolverTest, TheEndMayFileTheNextRequest) {
  Solver solver(1, 10, 10);
  std::atomic<bool> isFiled{false};
  onEnd = [&] {
    if (!isFiled.exchange(true)) solver.requestResolveConflicts(makeRequest());
  };
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(waitForEnds(solver, 2));
  solver.cancelAllRequests(true);
}

TEST_F(ConflictSolverTest, AnEndThatThrowsIsLoggedAndTheNextRequestIsServed) {
  Solver solver(1, 10, 10);
  onEnd = [] { throw std::runtime_error("no end"); };
  solver.requestResolveConflicts(makeRequest("a"));
  solver.requestResolveConflicts(makeRequest("b"));
  ASSERT_TRUE(waitForEnds(solver, 2));
  EXPECT_TRUE(log.contains(LT_Error, "no end"));
  solver.cancelAllRequests(true);
}

TEST_F(ConflictSolverTest, WithoutAnEndCallbackARequestIsServedAsWell) {
  couch::ResolveConflictRequest request = makeRequest("a");
  request.onFinished = nullptr;
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(request);
  solver.requestResolveConflicts(makeRequest("b"));
  ASSERT_TRUE(waitForEnds(solver));
  EXPECT_THAT(getRequests("GET /a/"), SizeIs(1));
}

TEST_F(ConflictSolverTest, NoWorkersMeansOne) {
  for (const auto& [given, started] : {pair{0u, 1u}, pair{1u, 1u}, pair{3u, 3u}}) {
    const Solver solver(given, 10, 10);
    while (CountThreadsNamed("nw-couch-merge") < started) qxThread::msleep(1);
    while (CountThreadsNamed("nw-couch-solver") < 1) qxThread::msleep(1);
    qxThread::msleep(20);
    EXPECT_EQ(CountThreadsNamed("nw-couch-merge"), started);
    EXPECT_EQ(CountThreadsNamed("nw-couch-solver"), 1u);
  }
}

TEST_F(ConflictSolverTest, ARowWithASingleRevisionCancelsTheRequest) {
  views = {R"({"rows":[{"id":"a","value":["1-a"]}]})"};
  expectGivenUp(solve(makeRequest()), "Malformed json while fetching conflict view of database db");
}

TEST_F(ConflictSolverTest, AViewThatCannotBeReadCancelsTheRequest) {
  interpose = [](const Request&) { return Reply::Json(500, "{}"); };
  expectGivenUp(solve(makeRequest()), "Error while fetching conflict view of database db ");
  EXPECT_EQ(server.getRequestCount(), 1u);
}

TEST_F(ConflictSolverTest, AViewThatIsNoJsonCancelsTheRequest) {
  views = {"<html>"};
  expectGivenUp(solve(makeRequest()), "Error while fetching conflict view of database db ");
}

TEST_F(ConflictSolverTest, AnErrorAlsoDropsTheRequestThatWaitsForTheSameDatabase) {
  holdAtGate("/db/", "no json");
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(gate.waitForArrivals(1));
  solver.requestResolveConflicts(makeRequest());
  solver.requestResolveConflicts(makeRequest("z"));
  gate.open();
  ASSERT_TRUE(waitForEnds(solver, 2));
  EXPECT_THAT(getEnds(), ElementsAre(End{0, 0, "db", nullptr}, End{1, 0, "z", nullptr}));
}

TEST_F(ConflictSolverTest, AViewThatTimesOutIsReadAgainUntilItComes) {
  Solver solver(1, 10, 10);
  {
    const ForcedTimeout timeout;
    solver.requestResolveConflicts(makeRequest());
    ASSERT_TRUE(waitFor(solver, [] { return ForcedTimeout::getCount() >= 3; }));
    EXPECT_THAT(getEnds(), IsEmpty());
  }
  ASSERT_TRUE(waitForEnds(solver));
  EXPECT_THAT(getEnds(), ElementsAre(End{1, 0, "db", nullptr}));
  EXPECT_THAT(log.getLines(LT_Error), IsEmpty());
}

TEST_F(ConflictSolverTest, AfterTwoHoursOfTimeOutsTheRequestIsGivenUp) {
  const ForcedTimeout timeout;
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(waitFor(solver, [] { return ForcedTimeout::getCount() >= 2; }));
  impl::AdvanceClock(7'100'000);
  const int before = ForcedTimeout::getCount();
  ASSERT_TRUE(waitFor(solver, [before] { return ForcedTimeout::getCount() >= before + 2; }));
  EXPECT_THAT(getEnds(), IsEmpty());
  impl::AdvanceClock(100'000);
  ASSERT_TRUE(waitForEnds(solver));
  expectGivenUp(getEnds()[0], "Timeout while fetching conflict view of database db");
  EXPECT_EQ(log.getLines(LT_Error)[0].text, "Timeout while fetching conflict view of database db");
}

TEST_F(ConflictSolverTest, ACancelledRequestLeavesTheNextTheTimeSinceTheFirstTimeOut) {
  const ForcedTimeout timeout;
  Solver solver(1, 10, 10);
  solver.requestResolveConflicts(makeRequest("a"));
  ASSERT_TRUE(waitFor(solver, [] { return ForcedTimeout::getCount() >= 1; }));
  solver.cancelRequest("a", true);
  impl::AdvanceClock(7'200'000);
  solver.requestResolveConflicts(makeRequest("b"));
  ASSERT_TRUE(waitForEnds(solver, 2));
  EXPECT_EQ(log.count(Error("Timeout while fetching conflict view of database b")), 1u);
}

TEST_F(ConflictSolverTest, AnIdleSolverHoldsNoConnectionAndUsesNoTime) {
  addDocument("a", {"2-w", "1-l"});
  list({"a"});
  Solver solver(4, 10, 10);
  solver.requestResolveConflicts(makeRequest());
  ASSERT_TRUE(waitForEnds(solver));
  EXPECT_GE(server.getAcceptedConnections(), 2u);
  EXPECT_TRUE(server.waitForOpenConnections(0));
  const int64 before = ProcessCpuMs();
  qxThread::msleep(500);
  EXPECT_LT(ProcessCpuMs() - before, 100);
}

}  // namespace
}  // namespace qx::test
