#include "netweft/river/internal/IndexDeletion.h"

#include "netweft/base/system/internal/FailPoint.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxThread.h"
#include "netweft/base/system/qxTimer.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/river/internal/IndexName.h"

namespace qx::couch {

using http::HttpHelpers;

namespace {

constexpr uint32 sOk = 200;
constexpr uint32 sNotFound = 404;

/// How often the wait for the index to go asks, in milliseconds.
constexpr unsigned long sPollMs = 100;

bool SendDelete(const string& indexName, http::HttpConnection& connection, const Url& url, const bool* cancelFlag) {
  string body;
  HttpHelpers::HttpResult result;
  result.content = &body;
  HttpHelpers::HttpDelete(connection, url, &result, nullptr, nullptr, cancelFlag);
  switch (result.httpReturnCode) {
    case sOk: return true;
    case sNotFound: LogDetail("esriver") << "drop index " << indexName; return true;
    default:
      if (ReadFlag(cancelFlag)) return false;
      LogError() << "Cannot delete index: " << result.httpReturnCode << " " << CutForLog(body) << " "
                 << connection.getLastErrorMsg();
      return false;
  }
}

/// The status of the last HEAD; 200 when time ran out, or the flag was raised, with the index still there.
uint32 PollUntilGone(http::HttpConnection& connection, const Url& url, int timeoutMs, const bool* cancelFlag) {
  const qxTimer timer(true);
  while (!ReadFlag(cancelFlag)) {
    HttpHelpers::HttpResult result;
    HttpHelpers::HttpHead(connection, url, &result, nullptr, nullptr, cancelFlag);
    if (result.httpReturnCode != sOk || timer.getElapsedMs() > timeoutMs) return result.httpReturnCode;
    qxThread::msleep(sPollMs);
  }
  return sOk;
}

bool AwaitAbsence(http::HttpConnection& connection, const Url& url, int timeoutMs, const bool* cancelFlag) {
  const uint32 status = PollUntilGone(connection, url, timeoutMs, cancelFlag);
  if (status == sNotFound) return true;
  if (ReadFlag(cancelFlag)) return false;
  if (status == sOk) {
    LogError() << "Error while waiting for index destruction, timeout";
  } else {
    LogError() << "Error while waiting for index destruction, head return " << status;
  }
  return false;
}

}  // namespace

bool DeleteIndex(const string& indexName, http::HttpConnection& connection,
                 const elasticsearch::ESConnectionParameters& es, int timeoutMs, const bool* cancelFlag) {
  if (!RequireConcreteIndexName(indexName) || ReadFlag(cancelFlag)) return false;
  const Url url = es.toUrl(indexName, {});
  if (!SendDelete(indexName, connection, url, cancelFlag)) return false;
  impl::PassFailPoint("deletion-sent");
  return AwaitAbsence(connection, url, timeoutMs, cancelFlag);
}

}  // namespace qx::couch
