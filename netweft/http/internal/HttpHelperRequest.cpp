#include "netweft/http/internal/HttpHelperRequest.h"

#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxIoDevice.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/http/HttpMultiConnection.h"

#include <algorithm>
#include <cstring>

namespace qx::http::impl {

namespace {

constexpr int sUnknownVerb = 2;

HttpHelperRequest& ToRequest(void* request) noexcept { return *static_cast<HttpHelperRequest*>(request); }

}  // namespace

int HttpHelperRequest::Setup(void* curlHandle, void* request, list<string>& headers) {
  HttpHelperRequest& self = ToRequest(request);
  CURL* const handle = curlHandle;
  self.readPosition = 0;  // a second attempt sends the body from its start
  self.head = {};
  int failed = self.installResponse(handle);
  self.addHeaders(headers);
  failed |= self.resetOptions(handle);
  if (self.responseHeaders != nullptr) {
    failed |= SetPointer(handle, CURLOPT_HEADERDATA, &self);
    failed |= SetFunction(handle, CURLOPT_HEADERFUNCTION, OnHeader);
  }
  return failed | self.installVerb(handle);
}

void HttpHelperRequest::addHeaders(list<string>& headers) const {
  if (requestHeaders != nullptr) headers.insert(headers.begin(), requestHeaders->begin(), requestHeaders->end());
  if (isJson) {
    headers.emplace_back("Content-Type:application/json");
  } else if (std::none_of(headers.begin(), headers.end(),
                          [](const string& line) { return qxStringUtils::Contains(line, "Content-Type:", false); })) {
    headers.emplace_back("Content-Type:application/octet-stream");
  }
}

int HttpHelperRequest::installResponse(CURL* handle) noexcept {
  int failed = SetFunction(handle, CURLOPT_WRITEFUNCTION, OnWrite);
  failed |= SetFunction(handle, CURLOPT_XFERINFOFUNCTION, OnProgress);
  failed |= SetPointer(handle, CURLOPT_XFERINFODATA, this);
  return failed;
}

int HttpHelperRequest::resetOptions(CURL* handle) noexcept {
  int failed = SetLong(handle, CURLOPT_NOPROGRESS, 1);
  failed |= SetLong(handle, CURLOPT_NOBODY, 0);
  failed |= SetText(handle, CURLOPT_CUSTOMREQUEST, nullptr);
  failed |= SetLong(handle, CURLOPT_POST, 0);
  failed |= SetLong(handle, CURLOPT_UPLOAD, 0);
  failed |= UnsetFunction(handle, CURLOPT_READFUNCTION);
  failed |= SetLong(handle, CURLOPT_POSTFIELDSIZE, 0);
  failed |= SetPointer(handle, CURLOPT_HEADERDATA, nullptr);
  failed |= UnsetFunction(handle, CURLOPT_HEADERFUNCTION);
  failed |= SetText(handle, CURLOPT_CUSTOMREQUEST, nullptr);
  failed |= SetPointer(handle, CURLOPT_IOCTLDATA, this);
  failed |= SetFunction(handle, CURLOPT_IOCTLFUNCTION, OnRewind);
  return failed;
}

int HttpHelperRequest::installVerb(CURL* handle) const noexcept {
  switch (verb) {
    case HV_Get:
      if (bodySize == 0) return 0;
      return installUpload(handle) | SetText(handle, CURLOPT_CUSTOMREQUEST, "GET");
    case HV_Put: return installUpload(handle);
    case HV_Post:
      return SetLong(handle, CURLOPT_POST, 1) | SetFunction(handle, CURLOPT_READFUNCTION, OnRead) |
             SetLong(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(bodySize));
    case HV_Delete: return SetText(handle, CURLOPT_CUSTOMREQUEST, "DELETE");
    case HV_Head: return SetLong(handle, CURLOPT_NOBODY, 1) | SetText(handle, CURLOPT_CUSTOMREQUEST, "HEAD");
    default: return sUnknownVerb;
  }
}

int HttpHelperRequest::installUpload(CURL* handle) const noexcept {
  return SetLong(handle, CURLOPT_UPLOAD, 1) | SetFunction(handle, CURLOPT_READFUNCTION, OnRead) |
         SetLong(handle, CURLOPT_INFILESIZE, static_cast<long>(bodySize));
}

size_t HttpHelperRequest::OnWrite(char* data, size_t size, size_t count, void* request) noexcept {
  HttpHelperRequest& self = ToRequest(request);
  return self.failure.run(size_t{0}, [&]() -> size_t {
    const size_t n = size * count;
    self.receivedBytes += n;
    if (n != 0 && self.content != nullptr) self.content->append(data, n);
    if (n != 0 && self.contentDevice != nullptr) self.contentDevice->writeBytes(data, n);
    return ReadFlag(self.abortFlag) ? 0 : n;
  });
}

size_t HttpHelperRequest::OnRead(char* buffer, size_t size, size_t count, void* request) noexcept {
  HttpHelperRequest& self = ToRequest(request);
  const uint64 n = std::min<uint64>(size * count, self.bodySize - self.readPosition);
  if (n != 0) std::memcpy(buffer, self.body + self.readPosition, n);
  self.readPosition += n;
  return ReadFlag(self.abortFlag) ? CURL_READFUNC_ABORT : n;
}

// libcurl sends the body again after a redirect or an authentication round.
curlioerr HttpHelperRequest::OnRewind(CURL*, int command, void* request) noexcept {
  if (command != CURLIOCMD_RESTARTREAD) return CURLIOE_UNKNOWNCMD;
  ToRequest(request).readPosition = 0;
  return CURLIOE_OK;
}

int HttpHelperRequest::OnProgress(void* request, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  return ReadFlag(ToRequest(request).abortFlag) ? 1 : 0;
}

size_t HttpHelperRequest::OnHeader(char* data, size_t size, size_t count, void* request) noexcept {
  HttpHelperRequest& self = ToRequest(request);
  return self.failure.run(size_t{0}, [&] {
    self.head.addLine({data, size * count});
    string key;
    string value;
    HttpMultiConnection::ParseHttpHeader(data, size * count, key, value);
    if (!key.empty()) self.responseHeaders->emplace(std::move(key), std::move(value));
    return size * count;
  });
}

}  // namespace qx::http::impl
