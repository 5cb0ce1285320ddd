#include "netweft/http/internal/HttpConnectionImpl.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/base/system/qxTimer.h"
#include "netweft/http/internal/ResponseHead.h"

namespace qx::http {

using namespace impl;

namespace {

string GetSizePiece(const char* name, size_t size) { return name + qxStringUtils::fromUInt64(size, 1) + "B"; }

/// Bodies are never kept, only their sizes.
string GetDebugPiece(curl_infotype type, const char* data, size_t size) {
  switch (type) {
    case CURLINFO_TEXT: return "* " + string(data, size);
    case CURLINFO_HEADER_IN: return "< " + string(data, size);
    case CURLINFO_HEADER_OUT: return "> " + string(data, size);
    case CURLINFO_DATA_IN: return GetSizePiece("DataIn ", size);
    case CURLINFO_DATA_OUT: return GetSizePiece("DataOut ", size);
    case CURLINFO_SSL_DATA_IN: return GetSizePiece("SSLIn ", size);
    case CURLINFO_SSL_DATA_OUT: return GetSizePiece("SSLOut ", size);
    case CURLINFO_END: return "End";
  }
  return {};
}

}  // namespace

int HttpConnection::HttpConnectionImpl::openHandle() noexcept {
  curlHandle = CreateEasyHandle();
  CURL* const handle = curlHandle.get();
  int failed = SetLong(handle, CURLOPT_NOPROGRESS, 0);
  failed |= SetLong(handle, CURLOPT_FORBID_REUSE, 0);
  failed |= SetLong(handle, CURLOPT_FRESH_CONNECT, 0);
  failed |= SetLong(handle, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
  failed |= SetLong(handle, CURLOPT_NOSIGNAL, 0);
  failed |= SetFunction(handle, CURLOPT_DEBUGFUNCTION, DebugCallback);
  failed |= SetPointer(handle, CURLOPT_DEBUGDATA, this);
  failed |= SetPointer(handle, CURLOPT_ERRORBUFFER, curlErrorBuffer.data());
  failed |= SetText(handle, CURLOPT_COOKIEJAR, GetNullDevice());
  failed |= SetText(handle, CURLOPT_ACCEPT_ENCODING, "");
  return failed;
}

void HttpConnection::HttpConnectionImpl::clearDiagnostics() noexcept {
  curlErrorBuffer.front() = '\0';
  lastCurlCode = 0;
  lastHttpReturnCode = 0;
  lastErrorMessage.clear();
  lastReceivedType.clear();
  lastDebugInformations.clear();
  captureFailure = {};
}

bool HttpConnection::HttpConnectionImpl::failAndClose(string reason) {
  lastErrorMessage = std::move(reason);
  closeHandle();
  return false;
}

bool HttpConnection::HttpConnectionImpl::failBrokenOff() {
  lastCurlCode = CURLE_PARTIAL_FILE;
  return failAndClose(ResponseHead::sMessage + (", " + lastUrl.toDisplayableUrl()));
}

int HttpConnection::HttpConnectionImpl::installCallerData(void* userData) noexcept {
  int failed = SetPointer(curlHandle.get(), CURLOPT_XFERINFODATA, userData);
  failed |= SetPointer(curlHandle.get(), CURLOPT_WRITEDATA, userData);
  failed |= SetPointer(curlHandle.get(), CURLOPT_READDATA, userData);
  return failed;
}

int HttpConnection::HttpConnectionImpl::installHeaders(const list<string>& requestHeaders) {
  headerList.clear();
  for (const string& header : commonHeaders) headerList.append(header);
  for (const string& header : requestHeaders) headerList.append(header);
  headerList.append("Connection: Keep-Alive");
  return SetList(curlHandle.get(), CURLOPT_HTTPHEADER, headerList.get());
}

int64 HttpConnection::HttpConnectionImpl::perform() {
  performing = true;
  const qxTimer timer(true);
  lastCurlCode = curl_easy_perform(curlHandle.get());
  const int64 elapsedMs = timer.getElapsedMs();
  performing = false;
  detachCallerData();
  captureFailure.rethrow();
  if (!lastDebugInformations.empty() && parameters.debugLevel == 2) {
    LogDetail("curl") << "Curl debug output \n" << lastDebugInformations;
  }
  lastHttpReturnCode = static_cast<int32>(GetLong(curlHandle.get(), CURLINFO_RESPONSE_CODE));
  return elapsedMs;
}

bool HttpConnection::HttpConnectionImpl::isWorthAnotherFamily() const noexcept {
  const bool prefersOne =
      parameters.hostNameResolutionPolicy == HNRP_PreferIpv6 || parameters.hostNameResolutionPolicy == HNRP_PreferIpv4;
  return prefersOne && (lastCurlCode == CURLE_COULDNT_RESOLVE_HOST || lastCurlCode == CURLE_PEER_FAILED_VERIFICATION ||
                        lastCurlCode == CURLE_SSL_CERTPROBLEM);
}

bool HttpConnection::HttpConnectionImpl::checkAnswer(const string& expectedType, long expectedReturnCode) {
  lastReceivedType = GetText(curlHandle.get(), CURLINFO_CONTENT_TYPE);
  if (expectedReturnCode >= 1 && expectedReturnCode != lastHttpReturnCode) {
    lastErrorMessage = "bad html response code, got " + qxStringUtils::fromInt(lastHttpReturnCode, 1) + ", expect " +
                       qxStringUtils::fromInt(static_cast<int>(expectedReturnCode), 1) + " " +
                       lastUrl.toDisplayableUrl();
    return false;
  }
  if (!expectedType.empty() && expectedType != lastReceivedType) {
    lastErrorMessage =
        "bad content type, got " + lastReceivedType + ", expect " + expectedType + " " + lastUrl.toDisplayableUrl();
    return false;
  }
  return true;
}

int HttpConnection::HttpConnectionImpl::DebugCallback(CURL*, curl_infotype type, char* data, size_t size,
                                                      void* record) noexcept {
  auto* const self = static_cast<HttpConnectionImpl*>(record);
  return self->captureFailure.run(0, [=] {
    self->capture(type, data, size);
    return 0;
  });
}

void HttpConnection::HttpConnectionImpl::capture(curl_infotype type, const char* data, size_t size) {
  if (parameters.debugLevel == 0) return;
  const string piece = GetDebugPiece(type, data, size);
  if (performing) {
    lastDebugInformations += piece;
  } else {
    LogDetail("curl") << piece;
  }
}

}  // namespace qx::http
