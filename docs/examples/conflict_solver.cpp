#include "netweft/netweft.h"

#include <future>
#include <iostream>

using Request = qx::couch::ResolveConflictRequest;

// On several threads at once. An empty map is a version that could not be read; it will be deleted unless this throws.
bool KeepHighest(std::list<qx::qxVariantMapImpl>& versions, qx::qxVariantMapImpl& result, const Request&) {
  result = versions.front();
  for (const qx::qxVariantMapImpl& version : versions) {
    if (version.empty()) throw std::runtime_error("a version cannot be read");
    if (version.getInteger("count", 0) > result.getInteger("count", 0))
      result["count"] = version.getInteger("count", 0);
  }
  return true;  // "_id" and "_rev" are put in
}

// With the solver's locks held: be brief.
void Tell(int completed, qx::uint64, const Request& request) {
  static_cast<std::promise<int>*>(request.userData)->set_value(completed);
}

int main() {
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  int completed = 0;
  {
    std::promise<int> end;
    Request request;
    request.fromEncodedUtf8String("http://127.0.0.1:5984", nullptr, false);
    request.dbName = "packages";
    request.viewPath = {"_design", "conflicts", "_view", "all"};
    request.resolver = KeepHighest;
    request.onFinished = Tell;
    request.userData = &end;
    qx::couch::ConflictSolver solver(4, 1000, 50);
    solver.requestResolveConflicts(request);
    completed = end.get_future().get();
  }
  std::cout << (completed == 1 ? "no conflicts are left" : "given up: the log says why") << std::endl;
  qx::terminateNetweft();
  return completed == 1 ? 0 : 1;
}
