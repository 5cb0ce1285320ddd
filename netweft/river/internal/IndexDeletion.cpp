#include "netweft/river/internal/IndexDeletion.h"

#include "netweft/base/system/internal/FailPoint.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxThread.h"
#include "netweft/base/system/qxTimer.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/http/internal/HttpStatus.h"
#include "netweft/river/internal/IndexName.h"

namespace qx::couch {

using http::HttpHelpers;

namespace {

/// How often the wait for the index to go asks, in milliseconds.
constexpr unsigned long sPollMs = 100;

bool SendDelete(const string& indexName, http::HttpConnection& connection, const Url& url, const bool* cancelFlag) {
  string body;
  HttpHelpers::HttpResult result;
  result.content = &body;
  HttpHelpers::HttpDelete(connection, url, &result, nullptr, nullptr, cancelFlag);
  switch (result.httpReturnCode) {
    case http::sHttpOk: return true;
    case http::sHttpNotFound: LogDetail("esriver") << "drop index " << indexName; return true;
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
    if (result.httpReturnCode != http::sHttpOk || timer.getElapsedMs() > timeoutMs) return result.httpReturnCode;
    qxThread::msleep(sPollMs);
  }
  return http::sHttpOk;
}

bool AwaitAbsence(http::HttpConnection& connection, const Url& url, int timeoutMs, const bool* cancelFlag) {
  const uint32 status = PollUntilGone(connection, url, timeoutMs, cancelFlag);
  if (status == http::sHttpNotFound) return true;
  if (ReadFlag(cancelFlag)) return false;
  if (status == http::sHttpOk) {
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
