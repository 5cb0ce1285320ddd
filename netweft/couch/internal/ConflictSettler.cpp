#include "netweft/couch/internal/ConflictSettler.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/http/internal/HttpStatus.h"

namespace qx::couch {

namespace {

/// Revisions of different documents with one content may have one name: the id must be right too.
bool IsVersionOf(const string& id, const qxVariantMapImpl& document) {
  return document.getString("_id", "") == id && !document.getString("_rev", "").empty();
}

qxVariantMapImpl Deletion(const string& id, const string& revision) {
  qxVariantMapImpl deletion;
  deletion["_id"] = id;
  deletion["_rev"] = revision;
  deletion["_deleted"] = true;
  return deletion;
}

/// Those that are to go. The winner is none of them, also when the view lists it twice; and an empty name would mean
/// the winner to the server.
vector<string> LosersAmong(const qxVariantListImpl& revisions) {
  const string winner = revisions[0].toString();
  vector<string> losers;
  for (uint64 i = 1; i < revisions.size(); ++i) {
    const string loser = revisions[i].toString();
    if (!loser.empty() && loser != winner) losers.push_back(loser);
  }
  return losers;
}

}  // namespace

Url ToConflictUrl(const ResolveConflictRequest& request, const vector<string>& segments, const StringPairList& query) {
  StringPairList whole = request.getUrlParameters();
  whole.insert(whole.end(), query.begin(), query.end());
  return request.toUrl(segments, whole);
}

qxVariantListImpl ConflictSettler::settle(const string& id, const qxVariantListImpl& revisions) const {
  qxVariantMapImpl winner;
  const string winnerRevision = revisions[0].toString();
  const vector<string> losers = LosersAmong(revisions);
  if (losers.empty() || !readWinner(id, winner)) return {};
  if (winner.getString("_rev", "") != winnerRevision) return {};  // the view was out of date

  qxVariantListImpl entries;
  list<qxVariantMapImpl> versions{winner};
  for (const string& loser : losers) {
    entries.push_back(Deletion(id, loser));
    if (!readLoser(id, loser, versions.emplace_back())) return {};
  }
  qxVariantMapImpl result = merge(winner, versions);
  result["_id"] = id;
  result["_rev"] = winnerRevision;
  entries.push_back(std::move(result));
  return entries;
}

bool ConflictSettler::readWinner(const string& id, qxVariantMapImpl& winner) const {
  if (!get(id, {}, winner)) {
    noteFailure(id);
    return false;
  }
  if (IsVersionOf(id, winner)) return true;
  noteInvalid(id);
  return false;
}

bool ConflictSettler::readLoser(const string& id, const string& revision, qxVariantMapImpl& version) const {
  const string name = id + " " + revision;
  if (get(id, {{"rev", revision}}, version)) {
    if (!IsVersionOf(id, version)) noteInvalid(name);
    return true;
  }
  version.clear();
  if (ReadFlag(mCancelFlag)) return false;
  noteFailure(name);
  return true;
}

// With a result of its own, since the helper itself is to log nothing.
bool ConflictSettler::get(const string& id, const StringPairList& query, qxVariantMapImpl& document) const {
  string text;
  http::HttpHelpers::HttpResult result;
  const Url url = ToConflictUrl(mRequest, {mRequest.dbName, id}, query);
  return http::HttpHelpers::HttpGetJson(mConnection, url, text, &result, nullptr, nullptr, &mCancelFlag) &&
         json::Json2Variant::Convert(text.data(), text.size(), document);
}

void ConflictSettler::noteFailure(const string& name) const {
  if (mConnection.getLastHttpReturnCode() == http::sHttpNotFound) {
    LogError() << "Fail to retrieve document " << name << " " << mConnection.getLastErrorMsg();
  } else {
    StoreFlag(mErrorFlag, true);
  }
}

void ConflictSettler::noteInvalid(const string& name) const {
  StoreFlag(mErrorFlag, true);
  LogError() << "Invalid document " << name;
}

// The resolver may take its versions apart and then say no: the winner is kept apart from them.
qxVariantMapImpl ConflictSettler::merge(qxVariantMapImpl& winner, list<qxVariantMapImpl>& versions) const {
  qxVariantMapImpl result;
  if (mRequest.resolver != nullptr && mRequest.resolver(versions, result, mRequest)) return result;
  return std::move(winner);
}

}  // namespace qx::couch
