#include "netweft/couch/internal/ChangeListing.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/http/HttpHelpers.h"

#include <algorithm>

namespace qx::couch {

namespace {

constexpr int64 sChangesPerRequest = 10'000;

bool Fail(const char* what) {
  LogError() << "MultiThreadedDocumentUpdater::applyOnEntireDb fail to retrieve " << what;
  return false;
}

ChangeListing::Step FailStep(const char* what) {
  Fail(what);
  return ChangeListing::LS_Error;
}

}  // namespace

// The getter's limits: the server may be silent for long while it serves the updates that the listing itself has
// queued.
ChangeListing::ChangeListing(const CouchConnectionParameters& server, const string& db) : mServer(server), mDbName(db) {
  http::ConnectionParameters& parameters = mConnection.editConnectionParameters();
  parameters.connectTimeoutSec = 30;
  parameters.lowSpeedLimit = 10;
  parameters.lowSpeedTimeSec = 1200;
}

bool ChangeListing::start() {
  qxVariantMapImpl answer;
  if (!get({{"descending", "true"}, {"limit", "1"}}, answer)) return Fail("current sequence number (http error)");
  mLast = answer.getInteger("last_seq", -1);
  return mLast >= 0 || Fail("current sequence number (invalid last_seq)");
}

ChangeListing::Step ChangeListing::next(vector<string>& ids) {
  ids.clear();
  const int64 limit = std::min(sChangesPerRequest, mLast - mSince);
  if (limit < 1) return LS_End;
  qxVariantMapImpl answer;
  const StringPairList query = {{"descending", "false"},
                                {"since", qxStringUtils::fromInt64(mSince, 1)},
                                {"limit", qxStringUtils::fromInt64(limit, 1)}};
  if (!get(query, answer)) return FailStep("doc ids (http error)");
  return read(answer, ids);
}

ChangeListing::Step ChangeListing::read(const qxVariantMapImpl& answer, vector<string>& ids) {
  const auto results = answer.find("results");
  if (results == answer.end() || results->second.getList().empty()) return LS_End;
  for (const qxVariant& change : results->second.getList()) {
    const Step step = readChange(change, ids);
    if (step == LS_Error) return LS_Error;
    if (step == LS_End) break;
  }
  return LS_Ids;
}

ChangeListing::Step ChangeListing::readChange(const qxVariant& change, vector<string>& ids) {
  if (change.getType() != qxVariant::VT_Map) return FailStep("doc ids (invalid result)");
  const qxVariantMapImpl& entry = change.getMap();
  const int64 sequence = entry.getInteger("seq", -1);
  string id = entry.getString("id", "");
  if (sequence < 1 || id.empty()) return FailStep("doc ids (invalid result)");
  if (sequence > mLast) {
    mSince = mLast;
    return LS_End;
  }
  mSince = std::max(mSince, sequence);
  if (!entry.getValue("deleted", false).toBool()) ids.push_back(std::move(id));
  return LS_Ids;
}

bool ChangeListing::get(const StringPairList& query, qxVariantMapImpl& answer) {
  string text;
  return http::HttpHelpers::HttpGetJson(mConnection, mServer.toDocumentUrl(mDbName, "_changes", query), text) &&
         json::Json2Variant::Convert(text.data(), text.size(), answer);
}

}  // namespace qx::couch
