#include "netweft/couch/internal/FeedHandle.h"

#include "netweft/couch/internal/ListenMachine.h"

namespace qx::couch {

using namespace http::impl;

namespace {

/// What a libcurl function gives back to end the transfer; libcurl hands over no empty pieces.
constexpr size_t sRefused = 0;

size_t ReceiveHeader(char* data, size_t size, size_t count, void* userData) noexcept {
  DbListenRecord& record = *static_cast<DbListenRecord*>(userData);
  const size_t n = size * count;
  return record.exceptions.run(sRefused, [&] { return OnHeaderLine(record, {data, n}) ? n : sRefused; });
}

size_t ReceiveBody(char* data, size_t size, size_t count, void* userData) noexcept {
  DbListenRecord& record = *static_cast<DbListenRecord*>(userData);
  const size_t n = size * count;
  return record.exceptions.run(sRefused, [&] { return OnBody(record, data, n) ? n : sRefused; });
}

int SetUpFunctions(DbListenRecord& record) {
  CURL* const handle = record.handle.get();
  record.headers.append("Accept:application/json");
  int failed = SetList(handle, CURLOPT_HTTPHEADER, record.headers.get());
  failed |= SetPointer(handle, CURLOPT_HEADERDATA, &record);
  failed |= SetFunction(handle, CURLOPT_HEADERFUNCTION, ReceiveHeader);
  failed |= SetPointer(handle, CURLOPT_WRITEDATA, &record);
  return failed | SetFunction(handle, CURLOPT_WRITEFUNCTION, ReceiveBody);
}

int SetUpConnection(CURL* handle, long connectTimeoutSec) {
  int failed = SetLong(handle, CURLOPT_NOPROGRESS, 1);
  failed |= SetLong(handle, CURLOPT_FORBID_REUSE, 0);
  failed |= SetLong(handle, CURLOPT_FRESH_CONNECT, 0);
  failed |= SetText(handle, CURLOPT_PROXY, "");  // none, also none from the environment
  failed |= SetLong(handle, CURLOPT_SSL_VERIFYPEER, 0);
  failed |= SetLong(handle, CURLOPT_SSL_VERIFYHOST, 0);
  failed |= SetLong(handle, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
  return failed | SetLong(handle, CURLOPT_CONNECTTIMEOUT, connectTimeoutSec);
}

/// A feed lasts until it ends, so there is no total limit: TCP keep-alive alone finds a dead peer.
int SetUpLimits(CURL* handle, int32 heartbeatSec) {
  const long keepAliveSec = static_cast<long>(int64{heartbeatSec} * 3);
  int failed = SetLong(handle, CURLOPT_LOW_SPEED_LIMIT, 0);
  failed |= SetLong(handle, CURLOPT_LOW_SPEED_TIME, 0);
  failed |= SetOffset(handle, CURLOPT_MAX_RECV_SPEED_LARGE, 0);
  failed |= SetOffset(handle, CURLOPT_MAX_SEND_SPEED_LARGE, 0);
  failed |= SetLong(handle, CURLOPT_TCP_KEEPALIVE, 1);
  failed |= SetLong(handle, CURLOPT_TCP_KEEPIDLE, keepAliveSec);
  return failed | SetLong(handle, CURLOPT_TCP_KEEPINTVL, keepAliveSec);
}

int SetUpDiagnostics(DbListenRecord& record) {
  CURL* const handle = record.handle.get();
  record.errorBuffer.front() = '\0';
  int failed = SetPointer(handle, CURLOPT_ERRORBUFFER, record.errorBuffer.data());
  failed |= SetLong(handle, CURLOPT_VERBOSE, 0);
  return failed | SetText(handle, CURLOPT_COOKIEJAR, GetNullDevice());
}

}  // namespace

int SetUpFeedHandle(DbListenRecord& record, long connectTimeoutSec) {
  int failed = SetUpFunctions(record);
  failed |= SetUpConnection(record.handle.get(), connectTimeoutSec);
  failed |= SetUpLimits(record.handle.get(), record.heartbeat);
  return failed | SetUpDiagnostics(record);
}

}  // namespace qx::couch
