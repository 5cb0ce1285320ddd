#include "netweft/http/HttpConnection.h"

#include "netweft/base/system/FormatDuration.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/frame/Netweft.h"
#include "netweft/http/internal/HttpConnectionImpl.h"

#include <algorithm>

namespace qx::http {

using namespace impl;

HttpConnection::HttpConnection(bool countConnections)
    : mImpl(std::make_unique<HttpConnectionImpl>()), mCountConnections(countConnections) {}

HttpConnection::~HttpConnection() = default;

bool HttpConnection::getHttpData(const qx::Url& url, const string& expectedType, long expectedReturnCode,
                                 SetupCallback callback, void* userData) {
  HttpConnectionImpl& self = *mImpl;
  const qx::Url& last = self.lastUrl;
  if (!last.getHost().empty() && (last.getHost() != url.getHost() || last.getPort() != url.getPort())) {
    LogDetail("http") << "Http connection was reused with a different host:port " << last.toDisplayableUrl() << " "
                      << url.toDisplayableUrl();
  }
  bool retry = false;
  try {
    self.lastUrl = url;
    self.clearDiagnostics();
    if (!setupConnection(url)) return self.failAndClose("Fail to setupconnection");
    const bool isName = !url.getHostAsIp().isValid();
    if (getHttpDataImpl(url.toEncodedUrl(), expectedType, expectedReturnCode, isName, retry, callback, userData)) {
      return true;
    }
  } catch (...) {
    self.closeHandle();  // half set up, it may still point to what the caller takes down now
    throw;
  }
  if (!retry) return false;
  self.parameters.hostNameResolutionPolicy = HNRP_Whatever;
  return getHttpData(url, expectedType, expectedReturnCode, callback, userData);
}

bool HttpConnection::setupConnection(const qx::Url& url) {
  int failed = 0;
  if (mImpl->curlHandle == nullptr) {
    if (!IsNetweftInitialized()) {
      mImpl->lastErrorMessage = "Netweft library not initialized.";
      LogError() << mImpl->lastErrorMessage;
      return false;
    }
    failed = mImpl->openHandle();
  }
  failed |= mImpl->parameters.applyParameters(mImpl->curlHandle.get(), url, mImpl->proxyFinder);
  if (failed != 0) mImpl->closeHandle();
  return failed == 0;
}

bool HttpConnection::getHttpDataImpl(const string& encodedUrl, const string& expectedType, long expectedReturnCode,
                                     bool canRetry, bool& retry, SetupCallback callback, void* userData) {
  HttpConnectionImpl& self = *mImpl;
  retry = false;
  list<string> headers;
  if (callback != nullptr && callback(self.curlHandle.get(), userData, headers) != 0) {
    return self.failAndClose("User callback return and error");
  }
  int failed = self.installCallerData(userData);
  failed |= self.installHeaders(headers);
  if (failed != 0) return self.failAndClose("Error while setting connection parameters");
  if (SetText(self.curlHandle.get(), CURLOPT_URL, encodedUrl.c_str()) != 0) {
    return self.failAndClose("Error while setting url");
  }
  const int64 elapsedMs = self.perform();
  if (self.lastCurlCode != CURLE_OK) {
    retry = canRetry && self.isWorthAnotherFamily();
    return self.failAndClose("Curl easy perform error after " + FormatDuration(elapsedMs, 1, false) + ", " +
                             self.lastUrl.toDisplayableUrl());
  }
  if (!self.checkAnswer(expectedType, expectedReturnCode)) return false;
  if (mCountConnections) static_cast<void>(GetLong(self.curlHandle.get(), CURLINFO_NUM_CONNECTS));
  return true;
}

void HttpConnection::clearConnection() { mImpl->closeHandle(); }

void HttpConnection::forgetCallbackData() noexcept {
  CURL* const handle = mImpl->curlHandle.get();
  if (handle == nullptr) return;
  UnsetFunction(handle, CURLOPT_HEADERFUNCTION);
  SetPointer(handle, CURLOPT_HEADERDATA, nullptr);
  UnsetFunction(handle, CURLOPT_IOCTLFUNCTION);
  SetPointer(handle, CURLOPT_IOCTLDATA, nullptr);
}

const ConnectionParameters& HttpConnection::getConnectionParameters() const noexcept { return mImpl->parameters; }

ConnectionParameters& HttpConnection::editConnectionParameters() noexcept { return mImpl->parameters; }

void HttpConnection::setConnectionParameters(const ConnectionParameters& parameters) { mImpl->parameters = parameters; }

const list<string>& HttpConnection::getCommonHeaders() const noexcept { return mImpl->commonHeaders; }

void HttpConnection::setCommonHeaders(const list<string>& headers) { mImpl->commonHeaders = headers; }

void HttpConnection::addCommonHeader(const string& header) {
  list<string>& headers = mImpl->commonHeaders;
  if (std::find(headers.begin(), headers.end(), header) == headers.end()) headers.push_back(header);
}

string HttpConnection::getLastErrorMsg() const {
  HttpConnectionImpl& self = *mImpl;
  string text;
  if (!self.lastErrorMessage.empty()) text += "HttpConnection error : " + self.lastErrorMessage + " ";
  if (self.lastHttpReturnCode != 0) {
    text += "Http return code " + qxStringUtils::fromInt(self.lastHttpReturnCode, 1) + " ";
  }
  if (self.lastCurlCode != CURLE_OK) {
    text += "Curl error : " + qxStringUtils::fromInt(self.lastCurlCode, 1) + " (" +
            curl_easy_strerror(static_cast<CURLcode>(self.lastCurlCode)) + ") ";
  }
  self.curlErrorBuffer.back() = '\0';
  if (self.curlErrorBuffer.front() != '\0') text += string("Curl internal error : ") + self.curlErrorBuffer.data();
  return text;
}

long HttpConnection::getLastHttpReturnCode() const noexcept { return mImpl->lastHttpReturnCode; }

string HttpConnection::getLastReceivedType() const { return mImpl->lastReceivedType; }

const string& HttpConnection::getLastDebugInformations() const noexcept { return mImpl->lastDebugInformations; }

bool HttpConnection::isLastCallTimedOut() const noexcept { return mImpl->lastCurlCode == CURLE_OPERATION_TIMEDOUT; }

bool HttpConnection::isLastCallUnableToVerifyPeer() const noexcept {
  return mImpl->lastCurlCode == CURLE_PEER_FAILED_VERIFICATION;
}

const qx::Url& HttpConnection::getLastUrl() const noexcept { return mImpl->lastUrl; }

}  // namespace qx::http
