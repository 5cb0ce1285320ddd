#include "tests/river/FakeElasticsearch.h"

#include <sstream>

namespace qx::couch::test {

namespace {

constexpr const char* sAcknowledged = R"({"acknowledged":true})";

Reply NotFound() {
  return Reply::Json(404, R"({"error":{"type":"index_not_found_exception","reason":"no such index"},"status":404})");
}

/// "/things/_mapping" gives "things" and "/_mapping".
pair<string, string> CutTarget(const string& target) {
  const size_t slash = target.find('/', 1);
  if (slash == string::npos) return {target.substr(1), ""};
  return {target.substr(1, slash - 1), target.substr(slash)};
}

/// As Elasticsearch merges a mapping: `_meta` is replaced as a whole, properties are added.
void Merge(const qxVariantMapImpl& update, qxVariantMapImpl& mapping) {
  for (const auto& [key, value] : update) {
    if (key != "_meta" && value.getType() == qxVariant::VT_Map) {
      Merge(value.getMap(), mapping[key].editMap());
    } else {
      mapping[key] = value;
    }
  }
}

Reply Wrapped(const string& name, const char* key, const qxVariantMapImpl& inner) {
  qxVariantMapImpl reply;
  reply[name].editMap()[key] = inner;
  return Reply::Json(200, ToJson(reply));
}

Reply SettingsReply(const string& name, const FakeElasticsearch::Index& index) {
  qxVariantMapImpl settings;
  qxVariantMapImpl& inner = settings["index"].editMap();
  inner["creation_date"] = index.creationDate;
  inner["uuid"] = index.uuid;
  inner["provided_name"] = name;
  return Wrapped(name, "settings", settings);
}

}  // namespace

FakeElasticsearch::FakeElasticsearch() : mServer([this](const Request& request) { return handle(request); }) {}

elasticsearch::ESConnectionParameters FakeElasticsearch::getServer() const {
  return elasticsearch::ESConnectionParameters(Url(mServer.getUrl("")));
}

vector<string> FakeElasticsearch::takeRequests() {
  const vector<Request> requests = mServer.getRequests();
  vector<string> kinds;
  while (mTaken < requests.size()) kinds.push_back(KindOf(requests[mTaken++]));
  return kinds;
}

Request FakeElasticsearch::getLast(const string& request) const {
  Request last;
  for (const Request& candidate : mServer.getRequests()) {
    if (KindOf(candidate) == request) last = candidate;
  }
  return last;
}

string FakeElasticsearch::getBody(const string& request) const { return getLast(request).body; }

void FakeElasticsearch::answer(const string& request, Reply reply) {
  const std::lock_guard lock(mMutex);
  mScript.answer(request, std::move(reply));
}

void FakeElasticsearch::answerAlways(const string& request, Reply reply) {
  const std::lock_guard lock(mMutex);
  mScript.answerAlways(request, std::move(reply));
}

void FakeElasticsearch::answerUsually(const string& request) {
  const std::lock_guard lock(mMutex);
  mScript.answerUsually(request);
}

qx::test::Gate FakeElasticsearch::hold(const string& request) {
  const std::lock_guard lock(mMutex);
  return mScript.hold(request);
}

void FakeElasticsearch::openGates() {
  const std::lock_guard lock(mMutex);
  mScript.openGates();
}

map<string, string> FakeElasticsearch::getDocuments(const string& name) const {
  const std::lock_guard lock(mMutex);
  const auto found = mIndexes.find(name);
  return found == mIndexes.end() ? map<string, string>() : found->second.documents;
}

void FakeElasticsearch::setObserver(std::function<void(const Request&)> observer) {
  const std::lock_guard lock(mMutex);
  mObserver = std::move(observer);
}

bool FakeElasticsearch::has(const string& name) const {
  const std::lock_guard lock(mMutex);
  return mIndexes.contains(name);
}

FakeElasticsearch::Index FakeElasticsearch::getIndex(const string& name) const {
  const std::lock_guard lock(mMutex);
  return mIndexes.at(name);
}

void FakeElasticsearch::setIndex(const string& name, Index index) {
  const std::lock_guard lock(mMutex);
  mIndexes[name] = std::move(index);
}

void FakeElasticsearch::removeIndex(const string& name) {
  const std::lock_guard lock(mMutex);
  mIndexes.erase(name);
}

void FakeElasticsearch::setMeta(const string& name, const string& key, const qxVariant& value) {
  const std::lock_guard lock(mMutex);
  mIndexes.at(name).mapping["_meta"].editMap()[key] = value;
}

void FakeElasticsearch::removeMeta(const string& name) {
  const std::lock_guard lock(mMutex);
  mIndexes.at(name).mapping.remove("_meta");
}

Reply FakeElasticsearch::handle(const Request& request) {
  const std::lock_guard lock(mMutex);
  if (mObserver) mObserver(request);
  const string kind = KindOf(request);
  if (const std::optional<Reply> scripted = mScript.take(kind)) return *scripted;
  return mScript.finish(kind, usual(request));
}

Reply FakeElasticsearch::usual(const Request& request) {
  const auto [name, rest] = CutTarget(request.target);
  if (name == "_cluster") return Reply::Json(200, R"({"status":"green"})");
  if (name == "_mapping") return allMappings();
  if (rest.empty()) return handleIndex(request, name);
  if (rest == "/_doc/_bulk") return handleBulk(request, name);
  const auto found = mIndexes.find(name);
  if (found == mIndexes.end()) return NotFound();
  if (rest == "/_refresh") return Reply::Json(200, R"({"_shards":{"total":2,"successful":1,"failed":0}})");
  if (rest == "/_settings") return SettingsReply(name, found->second);
  return handleMapping(request, found->second, name);
}

Reply FakeElasticsearch::handleIndex(const Request& request, const string& name) {
  if (request.method == "PUT") return createIndex(request, name);
  if (!mIndexes.contains(name)) return NotFound();
  if (request.method == "DELETE") mIndexes.erase(name);
  return Reply::Json(200, sAcknowledged);
}

Reply FakeElasticsearch::createIndex(const Request& request, const string& name) {
  if (mIndexes.contains(name)) return Reply::Json(400, R"({"error":"resource_already_exists_exception","status":400})");
  const qxVariantMapImpl body = FromJson(request.body);
  Index& index = addIndex(name);
  index.settings = body.findValuePath("settings", '/')->toMap();
  index.mapping = body.findValuePath("mappings/_doc", '/')->toMap();
  return Reply::Json(200, R"({"acknowledged":true,"shards_acknowledged":true,"index":")" + name + "\"}");
}

FakeElasticsearch::Index& FakeElasticsearch::addIndex(const string& name) {
  const string number = std::to_string(++mCreations);
  Index& index = mIndexes[name];
  index.creationDate = "170000000000" + number;
  index.uuid = "uuid-" + number;
  return index;
}

Reply FakeElasticsearch::handleBulk(const Request& request, const string& name) {
  Index& index = mIndexes.contains(name) ? mIndexes.at(name) : addIndex(name);
  std::istringstream lines(request.body);
  for (string header; std::getline(lines, header);) {
    const qxVariantMapImpl command = FromJson(header);
    const string id = command.begin()->second.toMap().getString("_id", "");
    if (command.begin()->first == "delete") {
      index.documents.erase(id);
    } else {
      std::getline(lines, index.documents[id]);
    }
  }
  return Reply::Json(200, R"({"took":1,"errors":false,"items":[]})");
}

Reply FakeElasticsearch::allMappings() const {
  qxVariantMapImpl all;
  for (const auto& [name, index] : mIndexes) all[name].editMap()["mappings"].editMap()["_doc"] = index.mapping;
  return Reply::Json(200, ToJson(all));
}

Reply FakeElasticsearch::handleMapping(const Request& request, Index& index, const string& name) {
  if (request.method == "GET") {
    qxVariantMapImpl mappings;
    mappings["_doc"] = index.mapping;
    return Wrapped(name, "mappings", mappings);
  }
  Merge(FromJson(request.body), index.mapping);
  return Reply::Json(200, sAcknowledged);
}

}  // namespace qx::couch::test
