#include "netweft/couch/internal/ViewRequest.h"

#include "netweft/base/json/JsonStreamer.h"
#include "netweft/base/system/qxIoDeviceByteContainer.h"
#include "netweft/couch/internal/ViewStreamParser.h"
#include "netweft/http/internal/CurlEasy.h"

#include <algorithm>

namespace qx::couch {

using namespace http::impl;

namespace {

size_t ReadBody(char* buffer, size_t size, size_t count, void* userData) noexcept {
  ViewStreamParser& parser = *static_cast<ViewStreamParser*>(userData);
  if (parser.body == nullptr) return CURL_READFUNC_ABORT;
  const size_t n = std::min(size * count, parser.body->size() - parser.bodyOffset);
  std::copy_n(parser.body->data() + parser.bodyOffset, n, buffer);
  parser.bodyOffset += n;
  return parser.isCanceled() ? size_t{CURL_READFUNC_ABORT} : n;
}

size_t WriteResponse(char* data, size_t size, size_t count, void* userData) noexcept {
  ViewStreamParser& parser = *static_cast<ViewStreamParser*>(userData);
  const size_t n = size * count;
  const bool goOn = parser.exceptions.run(false, [&] { return parser.scan(data, n); });
  return goOn && !parser.isCanceled() ? n : n + 1;
}

int CheckCanceled(void* userData, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  return static_cast<ViewStreamParser*>(userData)->isCanceled() ? 1 : 0;
}

int SetUpBody(CURL* handle, const ViewStreamParser& parser, list<string>& headers) {
  if (parser.body == nullptr) return SetLong(handle, CURLOPT_POST, 0);
  headers.emplace_back("Content-Type: application/json");  // the server refuses a body that does not say what it is
  int failed = SetLong(handle, CURLOPT_POST, 1);
  failed |= SetFunction(handle, CURLOPT_READFUNCTION, ReadBody);
  failed |= SetLong(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(parser.body->size()));
  return failed;
}

}  // namespace

unique_ptr<bytes> BuildKeysBody(const vector<string>* keys) {
  if (keys == nullptr || keys->empty()) return nullptr;
  auto body = std::make_unique<bytes>();
  size_t size = 22;
  for (const string& key : *keys) size += key.size() + 3;
  body->reserve(size);

  qxIoDeviceByteContainer<bytes> device(body.get());
  json::JsonStreamer streamer(&device, false);
  if (!streamer.begin(json::LVL_Object)) return nullptr;
  streamer.arrayBegin("keys");
  for (const string& key : *keys) streamer.arrayString(key);
  streamer.arrayEnd();
  return streamer.end() ? std::move(body) : nullptr;
}

int SetUpViewRequest(void* curlHandle, void* userData, list<string>& headers) {
  CURL* const handle = curlHandle;
  int failed = SetFunction(handle, CURLOPT_WRITEFUNCTION, WriteResponse);
  failed |= SetFunction(handle, CURLOPT_XFERINFOFUNCTION, CheckCanceled);
  failed |= SetPointer(handle, CURLOPT_XFERINFODATA, userData);
  // Off on purpose: cancellation takes effect where bytes move, in the read and the write function.
  failed |= SetLong(handle, CURLOPT_NOPROGRESS, 1);
  failed |= SetLong(handle, CURLOPT_NOBODY, 0);
  failed |= SetText(handle, CURLOPT_CUSTOMREQUEST, nullptr);
  failed |= SetLong(handle, CURLOPT_UPLOAD, 0);
  failed |= UnsetFunction(handle, CURLOPT_READFUNCTION);
  failed |= SetLong(handle, CURLOPT_POSTFIELDSIZE, 0);
  failed |= SetPointer(handle, CURLOPT_HEADERDATA, nullptr);
  failed |= UnsetFunction(handle, CURLOPT_HEADERFUNCTION);
  return failed | SetUpBody(handle, *static_cast<ViewStreamParser*>(userData), headers);
}

}  // namespace qx::couch
