#include "netweft/couch/internal/ListenMachine.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/couch/internal/FeedReader.h"
#include "netweft/http/internal/HttpStatus.h"

namespace qx::couch {

namespace {

/// The network's doing: worth a line in the log, and likely to pass.
bool IsConnectionIssue(CURLcode result) noexcept {
  switch (result) {
    case CURLE_COULDNT_CONNECT:
    case CURLE_PARTIAL_FILE:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_RECV_ERROR: return true;
    default: return false;
  }
}

string ToCurlErrorText(CURLcode result, const char* whileDoing) {
  return string("Curl error (") + curl_easy_strerror(result) + ") while " + whileDoing;
}

/// A transfer that libcurl could not bring to its end.
void OnTransferFailed(DbListenRecord& record, CURLcode result, ChangesListener::CallbackMsg msg,
                      const char* whileDoing) {
  if (!IsConnectionIssue(result)) {
    record.fail(msg, ToCurlErrorText(result, whileDoing));
    return;
  }
  record.fail(msg, "connection issue");
  LogWarning() << "Couch changes listener connection issue (" << curl_easy_strerror(result)
               << "), will retry in a few moment";
}

void ReadUpdateSeq(DbListenRecord& record) {
  const std::string_view text = record.receiveBuffer.view();
  qxVariantMapImpl database;
  if (!json::Json2Variant::Convert(text.data(), text.size(), database)) database.clear();
  record.since = database.getInteger("update_seq", -1);
  if (record.since < 0) {
    record.fail(ChangesListener::CM_ListenStopedDueToError, "invalid update seq");
  } else {
    record.state = LS_NeedConnect;
  }
}

void OnUpdateSeqDone(DbListenRecord& record, CURLcode result, long httpStatus) {
  if (result != CURLE_OK) {
    OnTransferFailed(record, result, ChangesListener::CM_ListenStopedDueToError, "retrieving update seq");
  } else if (httpStatus == http::sHttpOk) {
    ReadUpdateSeq(record);
  } else {
    record.fail(httpStatus == http::sHttpNotFound ? ChangesListener::CM_ListenStopedDbMissing
                                                  : ChangesListener::CM_ListenStopedDueToError,
                "Http error " + qxStringUtils::fromInt64(httpStatus, 1) + " while retrieving update seq");
  }
}

/// The status of a feed does not count: what a server refuses it says in an error line.
void OnFeedDone(DbListenRecord& record, CURLcode result) {
  if (result == CURLE_OK) {
    record.state = LS_NeedConnect;
    return;
  }
  const auto msg = record.state == LS_Connecting ? ChangesListener::CM_FailToStartListening
                                                 : ChangesListener::CM_ListenStopedDueToError;
  OnTransferFailed(record, result, msg, "listening change feed");
}

bool IsAttemptDue(DbListenRecord& record) {
  qxHighResTimer& timer = record.attemptTimer;
  if (timer.isRunning() && !IsWaitOver(timer.getElapsedTimeInSec(), record.heartbeat)) return false;
  timer.stop();
  return true;
}

}  // namespace

bool IsWaitOver(double elapsedSec, int32 limitSec) noexcept { return static_cast<int64>(elapsedSec) > limitSec; }

void OnSetUp(DbListenRecord& record) noexcept {
  record.state = record.since >= 0 || record.isServerWide() ? LS_NeedConnect : LS_NeedUpdateSeq;
}

ListenAction OnTick(DbListenRecord& record) {
  if (record.state == LS_WaitBeforeRetry &&
      IsWaitOver(record.retryTimer.getElapsedTimeInSec(), record.reconnectDelay)) {
    record.retryTimer.stop();
    OnSetUp(record);
  }
  record.activity = false;
  switch (record.state) {
    case LS_NeedUpdateSeq: return IsAttemptDue(record) ? LA_RequestUpdateSeq : LA_Nothing;
    case LS_NeedConnect: return IsAttemptDue(record) ? LA_RequestFeed : LA_Nothing;
    case LS_Idle:
    case LS_FetchingUpdateSeq:
    case LS_Connecting:
    case LS_Listening:
    case LS_WaitBeforeRetry: break;
  }
  return LA_Nothing;
}

void OnArmed(DbListenRecord& record, bool armed) {
  if (!armed) {
    record.fail(ChangesListener::CM_ListenStopedDueToError, "set url error");
  } else if (record.state == LS_NeedUpdateSeq) {
    record.state = LS_FetchingUpdateSeq;
  } else {
    record.report(ChangesListener::CM_StartListening);
    record.state = LS_Connecting;
  }
}

bool OnHeaderLine(DbListenRecord& record, std::string_view line) {
  record.activity = true;
  if (line != "\r\n" || record.state != LS_Connecting) return !record.stopped;
  record.state = LS_Listening;
  return record.report(ChangesListener::CM_Listening);
}

bool OnBody(DbListenRecord& record, const char* data, size_t n) {
  record.activity = true;
  if (record.stopped) return false;
  switch (record.state) {
    case LS_FetchingUpdateSeq: record.receiveBuffer.append(data, n); return true;
    case LS_Listening: return ReadFeed(record, data, n);
    case LS_Idle:
    case LS_NeedUpdateSeq:
    case LS_NeedConnect:
    case LS_Connecting:
    case LS_WaitBeforeRetry: break;
  }
  return false;
}

void OnTransferDone(DbListenRecord& record, CURLcode result, long httpStatus) {
  switch (record.state) {
    case LS_FetchingUpdateSeq: OnUpdateSeqDone(record, result, httpStatus); break;
    case LS_Connecting:
    case LS_Listening: OnFeedDone(record, result); break;
    case LS_Idle:
    case LS_NeedUpdateSeq:
    case LS_NeedConnect:
    case LS_WaitBeforeRetry: break;  // a transfer that was ended here; the wait goes on undisturbed
  }
}

void OnTransferLost(DbListenRecord& record) noexcept { record.waitBeforeRetry(); }

Url BuildRequestUrl(const DbListenRecord& record, const CouchConnectionParameters& server, ListenAction action) {
  if (action == LA_RequestUpdateSeq) return server.toDatabaseUrl(record.dbName, {});

  StringPairList query{{"feed", "continuous"}};
  const bool withConflicts = record.content == ChangesListener::RC_IncludeDocsAndConflicts;
  if (withConflicts || record.content == ChangesListener::RC_IncludeDocs) query.emplace_back("include_docs", "true");
  if (withConflicts) query.emplace_back("conflicts", "true");
  const string heartbeatMs = qxStringUtils::fromInt64(int64{record.heartbeat} * 1000, 1);
  if (record.isServerWide()) {
    query.emplace_back("heartbeat", "true");
    query.emplace_back("timeout", heartbeatMs);
    return server.toDatabaseUrl("_db_updates", query);
  }
  query.emplace_back("heartbeat", heartbeatMs);
  query.emplace_back("since", qxStringUtils::fromInt64(record.since, 1));
  return server.toDocumentUrl(record.dbName, "_changes", query);
}

}  // namespace qx::couch
