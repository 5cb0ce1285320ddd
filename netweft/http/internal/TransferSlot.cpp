#include "netweft/http/internal/TransferSlot.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace qx::http::impl {

TransferSlot::TransferSlot(HttpMultiConnection& multiConnection)
    : owner(&multiConnection), easyHandle(CreateLastingEasyHandle()) {
  installCallbacks();
}

TransferSlot::~TransferSlot() {
  if (activeMulti != nullptr) curl_multi_remove_handle(activeMulti, easyHandle.get());
  easyHandle.reset();
}

void TransferSlot::installCallbacks() noexcept {
  CURL* const handle = easyHandle.get();
  SetPointer(handle, CURLOPT_HEADERDATA, this);
  SetFunction(handle, CURLOPT_HEADERFUNCTION, OnHeader);
  SetPointer(handle, CURLOPT_WRITEDATA, this);
  SetFunction(handle, CURLOPT_WRITEFUNCTION, OnWrite);
  SetPointer(handle, CURLOPT_READDATA, this);
  SetFunction(handle, CURLOPT_READFUNCTION, OnRead);
  SetFunction(handle, CURLOPT_XFERINFOFUNCTION, OnProgress);
  SetPointer(handle, CURLOPT_XFERINFODATA, this);
  SetLong(handle, CURLOPT_FORBID_REUSE, 0);
  SetLong(handle, CURLOPT_FRESH_CONNECT, 0);
  SetLong(handle, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
  SetLong(handle, CURLOPT_TCP_KEEPALIVE, 1);
  SetPointer(handle, CURLOPT_ERRORBUFFER, errorBuffer.data());
  SetLong(handle, CURLOPT_VERBOSE, 0);
  SetText(handle, CURLOPT_COOKIEJAR, GetNullDevice());
}

void TransferSlot::reset() noexcept {
  request.reset();
  responseHeaders.clear();
  content.clear();
  if (content.capacity() > sContentCapacity) vector<char>().swap(content);
  try {
    content.reserve(sContentCapacity);
  } catch (const std::bad_alloc&) {
    // It grows on demand then.
  }
  errorBuffer.front() = '\0';
  dataSeen = false;
  head = {};
  cancelled = false;
  readPosition = 0;
  failure = {};
  if (activeMulti == nullptr) return;
  curl_multi_remove_handle(activeMulti, easyHandle.get());
  activeMulti = nullptr;
}

int TransferSlot::installParameters(const ConnectionParameters& parameters) {
  CURL* const handle = easyHandle.get();
  int failed = parameters.applyParameters(handle, request->url, proxyFinder);
  failed |= SetLong(handle, CURLOPT_NOBODY, 0);
  failed |= SetText(handle, CURLOPT_CUSTOMREQUEST, nullptr);
  failed |= SetLong(handle, CURLOPT_POST, 0);
  failed |= SetLong(handle, CURLOPT_UPLOAD, 0);
  failed |= SetLong(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(request->body.size()));
  return failed;
}

int TransferSlot::installRequest(const list<string>& commonHeaders) {
  int failed = installMethod(request->method);
  failed |= installHeaders(commonHeaders);
  failed |= SetText(easyHandle.get(), CURLOPT_URL, request->url.toEncodedUrl().c_str());
  return failed;
}

int TransferSlot::installMethod(int32 method) noexcept {
  CURL* const handle = easyHandle.get();
  switch (method) {
    case HttpMultiConnection::M_Post: return SetLong(handle, CURLOPT_POST, 1);
    case HttpMultiConnection::M_Head:
      return SetLong(handle, CURLOPT_NOBODY, 1) | SetText(handle, CURLOPT_CUSTOMREQUEST, "HEAD");
    case HttpMultiConnection::M_Put: return SetLong(handle, CURLOPT_UPLOAD, 1);
    case HttpMultiConnection::M_Delete: return SetText(handle, CURLOPT_CUSTOMREQUEST, "DELETE");
    default: return 0;
  }
}

int TransferSlot::installHeaders(const list<string>& commonHeaders) {
  headerList.clear();
  for (const string& header : commonHeaders) headerList.append(header);
  headerList.append("Connection: Keep-Alive");
  return SetList(easyHandle.get(), CURLOPT_HTTPHEADER, headerList.get());
}

size_t TransferSlot::OnHeader(char* data, size_t size, size_t count, void* slot) noexcept {
  auto& self = *static_cast<TransferSlot*>(slot);
  return self.failure.run(size_t{0}, [&] {
    self.dataSeen = true;
    self.head.addLine({data, size * count});
    string key;
    string value;
    HttpMultiConnection::ParseHttpHeader(data, size * count, key, value);
    if (!key.empty()) self.responseHeaders[key] = std::move(value);
    return self.cancelled ? 0 : size * count;
  });
}

size_t TransferSlot::OnWrite(char* data, size_t size, size_t count, void* slot) noexcept {
  auto& self = *static_cast<TransferSlot*>(slot);
  return self.failure.run(size_t{0}, [&] {
    self.dataSeen = true;
    self.content.insert(self.content.end(), data, data + size * count);
    return self.cancelled ? 0 : size * count;
  });
}

size_t TransferSlot::OnRead(char* buffer, size_t size, size_t count, void* slot) noexcept {
  auto& self = *static_cast<TransferSlot*>(slot);
  const vector<char>& body = self.request->body;
  const size_t n = std::min<size_t>(size * count, body.size() - self.readPosition);
  if (n != 0) std::memcpy(buffer, body.data() + self.readPosition, n);
  self.readPosition += n;
  return self.cancelled ? CURL_READFUNC_ABORT : n;
}

// Progress stays off on these handles, so libcurl calls this only where it no longer asks for that.
int TransferSlot::OnProgress(void* slot, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  return static_cast<TransferSlot*>(slot)->cancelled ? 1 : 0;
}

}  // namespace qx::http::impl
