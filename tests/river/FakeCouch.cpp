#include "tests/river/FakeCouch.h"

namespace qx::couch::test {

namespace {

string Revision(uint64 number) {
  string digits = std::to_string(number);
  return digits + "-" + string(32 - digits.size(), 'a') + digits;
}

uint64 SinceOf(const string& target) {
  const size_t at = target.find("since=");
  return at == string::npos ? 0 : std::stoull(target.substr(at + 6));
}

bool IsFeed(const string& kind) { return kind.ends_with("/_changes"); }

}  // namespace

FakeCouch::FakeCouch() : mServer([this](const Request& request) { return handle(request); }) {}

CouchConnectionParameters FakeCouch::getServer() const { return {Url(mServer.getUrl(""))}; }

uint64 FakeCouch::put(const string& db, const string& id, const string& fields) {
  uint64 seq = 0;
  {
    const std::lock_guard lock(mMutex);
    Database& database = mDatabases[db];
    Tell(database, id, write(database, id, fields).rev, false);
    seq = database.changes.back().seq;
  }
  endFeeds(db);
  return seq;
}

uint64 FakeCouch::remove(const string& db, const string& id) {
  uint64 seq = 0;
  {
    const std::lock_guard lock(mMutex);
    Database& database = mDatabases[db];
    Tell(database, id, Revision(++mRevisions), true);
    database.documents.erase(id);
    seq = database.changes.back().seq;
  }
  endFeeds(db);
  return seq;
}

void FakeCouch::putAll(const string& db, const vector<string>& ids, const string& fields) {
  {
    const std::lock_guard lock(mMutex);
    Database& database = mDatabases[db];
    for (const string& id : ids) Tell(database, id, write(database, id, fields).rev, false);
  }
  endFeeds(db);
}

void FakeCouch::putSilently(const string& db, const string& id) {
  const std::lock_guard lock(mMutex);
  write(mDatabases[db], id, "");
}

void FakeCouch::lose(const string& db, const string& id) {
  const std::lock_guard lock(mMutex);
  mDatabases[db].documents.erase(id);
}

void FakeCouch::answer(const string& kind, Reply reply) {
  const std::lock_guard lock(mMutex);
  mScript.answer(kind, std::move(reply));
}

void FakeCouch::answerAlways(const string& kind, Reply reply) {
  const std::lock_guard lock(mMutex);
  mScript.answerAlways(kind, std::move(reply));
}

void FakeCouch::answerUsually(const string& kind) {
  const std::lock_guard lock(mMutex);
  mScript.answerUsually(kind);
}

Gate FakeCouch::hold(const string& kind) {
  const std::lock_guard lock(mMutex);
  return mScript.hold(kind);
}

void FakeCouch::openGates() {
  const std::lock_guard lock(mMutex);
  mScript.openGates();
}

vector<string> FakeCouch::getFeeds(const string& db) const {
  vector<string> targets;
  for (const Request& request : mServer.getRequests()) {
    if (KindOf(request) == "GET /" + db + "/_changes") targets.push_back(request.target);
  }
  return targets;
}

Reply FakeCouch::handle(const Request& request) {
  const std::lock_guard lock(mMutex);
  const string kind = KindOf(request);
  if (const std::optional<Reply> scripted = mScript.take(kind)) return *scripted;
  return mScript.finish(kind, usual(request));
}

Reply FakeCouch::usual(const Request& request) {
  const string kind = KindOf(request);
  const string path = kind.substr(kind.find('/') + 1);
  const size_t slash = path.find('/');
  const Database& database = mDatabases[path.substr(0, slash)];
  if (IsFeed(kind)) return Feed(database, SinceOf(request.target));
  return Get(database, path.substr(slash + 1));
}

Reply FakeCouch::Feed(const Database& database, uint64 since) {
  Reply reply = Reply::Stream(200, {{"Content-Type", "application/json"}});
  string lines;
  for (const Change& change : database.changes) {
    if (change.seq <= since) continue;
    lines += R"({"seq":)" + std::to_string(change.seq) + R"(,"id":")" + change.id + R"(","changes":[{"rev":")" +
             change.rev + "\"}]" + (change.deleted ? R"(,"deleted":true})" : "}") + "\n";
  }
  if (!lines.empty()) reply.sendChunk(lines);
  return reply.waitFor(database.more).endChunks();
}

Reply FakeCouch::Get(const Database& database, const string& id) {
  const auto found = database.documents.find(id);
  if (found == database.documents.end()) return Reply::Json(404, R"({"error":"not_found","reason":"missing"})");
  return Reply::Http(200, found->second.body + "\n", {{"ETag", "\"" + found->second.rev + "\""}});
}

FakeCouch::Document& FakeCouch::write(Database& database, const string& id, const string& fields) {
  Document& document = database.documents[id];
  document.rev = Revision(++mRevisions);
  document.body = R"({"_id":")" + id + R"(","_rev":")" + document.rev + "\"" + fields + "}";
  return document;
}

void FakeCouch::Tell(Database& database, const string& id, const string& rev, bool deleted) {
  const uint64 seq = database.changes.empty() ? 1 : database.changes.back().seq + 1;
  // As the server does: a document stands in the feed once, with its last change.
  std::erase_if(database.changes, [&id](const Change& change) { return change.id == id; });
  database.changes.push_back({seq, id, rev, deleted});
}

void FakeCouch::endFeeds(const string& db) {
  Gate ended;
  {
    const std::lock_guard lock(mMutex);
    std::swap(ended, mDatabases[db].more);
  }
  ended.open();
}

}  // namespace qx::couch::test
