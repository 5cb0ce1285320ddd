#include "tests/live/ConflictTrees.h"

#include "netweft/base/json/Json2Variant.h"

#include <algorithm>
#include <stdexcept>

namespace qx::test {

namespace {

/// As JSON without the names that differ from revision to revision.
string Content(qxVariantMapImpl document) {
  for (const char* name : {"_id", "_rev", "_revisions"}) document.remove(name);
  string text;
  json::Json2Variant::Convert(document, text, false);
  return text;
}

DocumentLeaves ReadOne(const string& id, const ConflictTrees::Get& get) {
  DocumentLeaves leaves;
  const string text = get(id + "?open_revs=all");
  qxVariantListImpl versions;
  if (!json::Json2Variant::Convert(text.data(), text.size(), versions)) throw std::runtime_error("no leaves: " + text);
  for (const qxVariant& version : versions) {
    const qxVariantMapImpl document = version.getMap().getValue("ok", {}).toMap();
    const string revision = document.getString("_rev", "");
    if (document.getValue("_deleted", false).toBool()) {
      leaves.deleted.insert(revision);
    } else {
      leaves.live[revision] = Content(document);
    }
  }
  const string winner = get(id);
  qxVariantMapImpl document;
  json::Json2Variant::Convert(winner.data(), winner.size(), document);
  leaves.winner = document.getString("_rev", "");
  return leaves;
}

}  // namespace

vector<string> DocumentLeaves::getTexts() const {
  vector<string> texts;
  for (const auto& [revision, content] : live) {
    qxVariantMapImpl document;
    json::Json2Variant::Convert(content.data(), content.size(), document);
    texts.push_back(document.getString("text", ""));
  }
  std::sort(texts.begin(), texts.end());
  return texts;
}

string ConflictTrees::make(const string& id, const string& kind) {
  vector<Path> ends = {{hash()}};
  for (uint64 i = below(3); i > 0; --i) ends[0].push_back(hash());
  for (uint64 branches = below(6); branches > 0; --branches) {
    const Path& from = ends[below(ends.size())];
    Path path(from.begin(), from.begin() + static_cast<std::ptrdiff_t>(1 + below(from.size())));
    for (uint64 i = 1 + below(3); i > 0; --i) path.push_back(hash());
    ends.push_back(std::move(path));
  }
  string entries;
  for (const Path& end : ends) {
    entries += (entries.empty() ? "" : ",") + entry(id, kind, end, below(4) == 0);
  }
  return entries;
}

map<string, DocumentLeaves> ConflictTrees::Read(const vector<string>& ids, const Get& get) {
  map<string, DocumentLeaves> leaves;
  for (const string& id : ids) leaves[id] = ReadOne(id, get);
  return leaves;
}

string ConflictTrees::hash() {
  string text;
  while (text.size() < 32) text += "0123456789abcdef"[below(16)];
  return text;
}

string ConflictTrees::entry(const string& id, const string& kind, const Path& path, bool isDeleted) {
  string hashes;
  for (auto hash = path.rbegin(); hash != path.rend(); ++hash) hashes += (hashes.empty() ? "\"" : ",\"") + *hash + "\"";
  const string number = std::to_string(path.size());
  return R"({"_id":")" + id + R"(","_rev":")" + number + "-" + path.back() + R"(","_revisions":{"start":)" + number +
         R"(,"ids":[)" + hashes + R"(]},"kind":")" + kind + R"(","text":")" + path.back().substr(0, 6) + "\"" +
         (isDeleted ? R"(,"_deleted":true})" : "}");
}

uint64 RevisionNumber(const string& revision) { return std::strtoull(revision.c_str(), nullptr, 10); }

}  // namespace qx::test
