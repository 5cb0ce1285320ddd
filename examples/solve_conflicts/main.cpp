// Solves the conflicts of a CouchDB database: the winner stays and gets the members that only a losing version has.
//   solve_conflicts http://127.0.0.1:5984/packages conflicts all
// names the view _design/conflicts/_view/all, which must emit the revisions of each document in conflict, the winner
// first:
//   function (doc) { if (doc._conflicts) emit(null, [doc._rev].concat(doc._conflicts)); }
#include "netweft/netweft.h"

#include <csignal>
#include <future>
#include <iostream>

namespace {

using qx::couch::ResolveConflictRequest;

struct Outcome {
  bool isComplete;
  qx::uint64 documents;
};

/// The winner, with what only others have. A version that could not be read is empty and would be lost: then the
/// document is left as it is, by an exception.
bool Merge(std::list<qx::qxVariantMapImpl>& versions, qx::qxVariantMapImpl& result, const ResolveConflictRequest&) {
  result = versions.front();
  for (const qx::qxVariantMapImpl& version : versions) {
    if (version.empty()) throw std::runtime_error("a version of " + result.getString("_id", "") + " cannot be read");
    for (const auto& [name, value] : version) {
      if (name.front() != '_' && !result.contains(name)) result[name] = value;
    }
  }
  return true;
}

/// Runs with the solver's locks held: it only passes on.
void Tell(int completed, qx::uint64 documentsDone, const ResolveConflictRequest& request) {
  static_cast<std::promise<Outcome>*>(request.userData)->set_value({completed == 1, documentsDone});
}

Outcome Solve(ResolveConflictRequest& request) {
  std::promise<Outcome> end;
  request.resolver = Merge;
  request.onFinished = Tell;
  request.userData = &end;
  qx::couch::ConflictSolver solver(4, 1000, 50);
  solver.requestResolveConflicts(request);
  return end.get_future().get();
}

}  // namespace

int main(int argc, char** argv) {
  ResolveConflictRequest request;
  if (argc != 4 || !qx::couch::CouchConnectionParameters::BuildFromDbUrl(&request, &request.dbName, argv[1]) ||
      request.dbName.empty()) {
    std::cerr << "usage: solve_conflicts DATABASE_URL DESIGN_DOCUMENT VIEW" << std::endl;
    return 2;
  }
  request.viewPath = {"_design", argv[2], "_view", argv[3]};

  std::signal(SIGPIPE, SIG_IGN);
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  const Outcome outcome = Solve(request);
  qx::terminateNetweft();
  std::cout << outcome.documents << " documents handled" << (outcome.isComplete ? "" : ", but not all") << std::endl;
  return outcome.isComplete ? 0 : 1;
}
