#pragma once

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxThread.h"
#include "netweft/couch/ConflictSolver.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/FaultExemption.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <optional>

namespace qx::test {

/// A database that is a table of versions and a list of answers to the readings of its view; when they have all been
/// given, the view lists nothing.
class ConflictSolverFixture : public LibraryFixture {
 protected:
  using Solver = couch::ConflictSolver;

  struct End {
    int completed;
    uint64 documentsDone;
    string dbName;
    void* userData;
    bool operator==(const End& other) const {
      return completed == other.completed && documentsDone == other.documentsDone && dbName == other.dbName;
    }
    friend std::ostream& operator<<(std::ostream& out, const End& end) {
      return out << "(" << end.completed << ", " << end.documentsDone << ", " << end.dbName << ")";
    }
  };

  ConflictSolverFixture() {
    sSelf = this;
    server.setHandler([this](const Request& request) { return answer(request); });
  }

  static string RowText(const string& id, const vector<string>& revisions) {
    string list;
    for (const string& revision : revisions) list += (list.empty() ? "\"" : ",\"") + revision + "\"";
    return R"({"id":")" + id + R"(","key":null,"value":[)" + list + "]}";
  }
  static string VersionText(const string& id, const string& revision) {
    return R"({"_id":")" + id + R"(","_rev":")" + revision + R"(","text":"of )" + revision + R"("})";
  }

  /// Adds a document; it is listed by `list` and not before.
  void addDocument(const string& id, const vector<string>& revisions) {
    mDocuments[id] = VersionText(id, revisions.front());
    for (const string& revision : revisions) mDocuments[id + "?rev=" + revision] = VersionText(id, revision);
    mRows[id] = RowText(id, revisions);
  }
  void setVersion(const string& idAndQuery, const string& text) { mDocuments[idAndQuery] = text; }
  void removeVersion(const string& idAndQuery) { mDocuments.erase(idAndQuery); }
  /// One reading of the view that gives the rows of these documents.
  void list(const vector<string>& ids) {
    string rows;
    for (const string& id : ids) rows += (rows.empty() ? "" : ",") + mRows[id];
    views.push_back(R"({"rows":[)" + rows + "]}");
  }

  couch::ResolveConflictRequest makeRequest(const string& db = "db") {
    couch::ResolveConflictRequest request;
    request.fromEncodedUtf8String(server.getUrl(""), nullptr, false);
    request.dbName = db;
    request.viewPath = {"_design", "c", "_view", "all"};
    request.onFinished = OnFinished;
    return request;
  }

  static void OnFinished(int completed, uint64 documentsDone, const couch::ResolveConflictRequest& request) {
    const FaultExemption own;
    {
      const std::lock_guard lock(sSelf->mMutex);
      sSelf->mEnds.push_back({completed, documentsDone, request.dbName, request.userData});
    }
    if (sSelf->onEnd != nullptr) sSelf->onEnd();
  }
  static bool OnResolve(std::list<qxVariantMapImpl>& versions, qxVariantMapImpl& result,
                        const couch::ResolveConflictRequest&) {
    return sSelf->resolve(versions, result);
  }

  vector<End> getEnds() const {
    const std::lock_guard lock(mMutex);
    return mEnds;
  }

  /// Waits for so many ends. Any call makes the manager look around, so that its seconds need not be waited out.
  [[nodiscard]] bool waitForEnds(Solver& solver, size_t count = 1) const {
    return waitFor(solver, [&] { return getEnds().size() >= count; });
  }
  [[nodiscard]] static bool waitFor(Solver& solver, const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      solver.cancelRequest("nobody", false);
      qxThread::msleep(2);
    }
    return true;
  }

  /// One solver, one request, to its end.
  End solve(const couch::ResolveConflictRequest& request, uint64 workers = 1, uint64 viewLimit = 1000,
            uint64 workerBatch = 100) {
    Solver solver(workers, viewLimit, workerBatch);
    solver.requestResolveConflicts(request);
    EXPECT_TRUE(waitForEnds(solver));
    const vector<End> ends = getEnds();
    return ends.empty() ? End{-1, 0, "", nullptr} : ends.front();
  }

  vector<Request> getRequests(const string& start) const {
    vector<Request> found;
    for (Request& request : server.getRequests()) {
      if (request.line.rfind(start, 0) == 0) found.push_back(std::move(request));
    }
    return found;
  }
  vector<Request> getReadings() const { return getRequests("GET /db/_design/"); }
  vector<string> getPosts() const {
    vector<string> bodies;
    for (const Request& request : getRequests("POST ")) bodies.push_back(request.body);
    return bodies;
  }

  vector<string> views;
  /// Asked first; what it gives is the answer.
  std::function<std::optional<Reply>(const Request&)> interpose;
  std::function<bool(std::list<qxVariantMapImpl>& versions, qxVariantMapImpl& result)> resolve;
  std::function<void()> onEnd;
  LogCapture log;

 private:
  Reply answer(const Request& request) {
    if (interpose != nullptr) {
      if (std::optional<Reply> reply = interpose(request)) return *reply;
    }
    if (request.method == "POST") return Reply::Json(201, accept(request.body));
    if (request.target.find("/_view/") != string::npos) {
      return Reply::Json(200, mNextView < views.size() ? views[mNextView++] : R"({"rows":[]})");
    }
    const auto found = mDocuments.find(request.target.substr(request.target.rfind('/') + 1));
    return found == mDocuments.end() ? Reply::Json(404, R"({"error":"not_found"})") : Reply::Json(200, found->second);
  }
  static string accept(const string& body) {
    qxVariantMapImpl map;
    json::Json2Variant::Convert(body.data(), body.size(), map);
    string answers;
    for (uint64 i = 0; i < map.getValue("docs", {}).toList().size(); ++i) {
      answers += answers.empty() ? R"({"ok":true})" : R"(,{"ok":true})";
    }
    return "[" + answers + "]";
  }

  static inline ConflictSolverFixture* sSelf = nullptr;
  mutable std::mutex mMutex;
  vector<End> mEnds;
  map<string, string> mDocuments;
  map<string, string> mRows;
  size_t mNextView = 0;

 protected:
  ScriptedServer server;  // the first to go: its handler reaches all of the above
};

}  // namespace qx::test
