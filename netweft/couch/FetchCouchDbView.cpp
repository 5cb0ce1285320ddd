#include "netweft/couch/FetchCouchDbView.h"

#include "netweft/base/system/FormatDuration.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/base/system/qxThread.h"
#include "netweft/base/system/qxTimer.h"
#include "netweft/couch/internal/ViewRequest.h"
#include "netweft/couch/internal/ViewStreamParser.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/internal/HttpStatus.h"

namespace qx::couch {

namespace {

constexpr unsigned long sRetryDelayMs = 250;

Url BuildViewUrl(const CouchConnectionParameters& server, const string& db, const string& designDoc,
                 const string& viewName, long long limit) {
  StringPairList query;
  if (limit >= 0) query.emplace_back("limit", qxStringUtils::fromInt64(limit, 1));
  const CouchConnectionParameters database = server.toDatabaseUrl(db, {});
  if (designDoc.empty() && viewName.empty()) return database.toUrl(vector<string>{"_all_docs"}, query);
  return database.toUrl(vector<string>{"_design", designDoc, "_view", viewName}, query);
}

/// Whether a request that failed is to be made again; if not, the log knows why.
bool IsWorthRetrying(const http::HttpConnection& connection, const ViewStreamParser& parser, const qxTimer& timer,
                     unsigned int timeoutMs, const string& viewText) {
  if (parser.isCanceled()) return false;
  if (!connection.isLastCallTimedOut()) {
    LogError() << "Error while fetching " << viewText << " " << connection.getLastErrorMsg();
    return false;
  }
  if (timer.getElapsedMs() < int64{timeoutMs}) return true;
  if (timeoutMs != 0) LogError() << "Timeout while fetching " << viewText;
  return false;
}

}  // namespace

bool FetchCouchDbView(http::HttpConnection& connection, const CouchConnectionParameters& server, const string& db,
                      const string& designDoc, const string& viewName, const vector<string>* keys,
                      ViewRowCallback callback, void* userData, long long limit, unsigned int timeoutMs,
                      const bool* cancelFlag) {
  const Url url = BuildViewUrl(server, db, designDoc, viewName, limit);
  ViewStreamParser parser(callback, userData, cancelFlag);
  parser.body = BuildKeysBody(keys);
  const string viewText = "view " + viewName + " of document " + designDoc;
  const qxTimer timer(true);

  // A repeated request goes on with the parser as the timed-out one left it.
  while (!connection.getHttpData(url, {}, http::sHttpOk, SetUpViewRequest, &parser)) {
    parser.exceptions.rethrow();
    if (!IsWorthRetrying(connection, parser, timer, timeoutMs, viewText)) return false;
    qxThread::msleep(sRetryDelayMs);
  }
  // A connection that ends within the answer's head, or an answer without a length, looks like the end of a good one.
  if (callback != nullptr && !parser.ended) {
    LogError() << "Error while fetching view " << viewName << " of document " << designDoc << " the answer broke off";
    return false;
  }
  LogDetail("couchdb") << "Fetch " << parser.rowCount << " doc(s) from view _design/" << designDoc << "/_view/"
                       << viewName << " in " << FormatDuration(timer.getElapsedMs(), 1, true);
  return true;
}

}  // namespace qx::couch
