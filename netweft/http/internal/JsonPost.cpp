#include "netweft/http/internal/JsonPost.h"

#include "netweft/addressing/Url.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/internal/CurlEasy.h"
#include "netweft/http/internal/HttpConnectionImpl.h"
#include "netweft/http/internal/HttpStatus.h"

#include <algorithm>

namespace qx::http::impl {

namespace {

JsonPost& ToPost(void* post) noexcept { return *static_cast<JsonPost*>(post); }

int GoOn(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept { return 0; }

}  // namespace

bool JsonPost::perform(HttpConnection& connection, const Url& url) {
  const bool good = connection.getHttpData(url, {}, sHttpOk, SetUp, this);
  mFailure.rethrow();
  return good && mHead.isBrokenOff() ? connection.mImpl->failBrokenOff() : good;
}

void JsonPost::MakePatient(ConnectionParameters& parameters) noexcept {
  parameters.connectTimeoutSec = 30;
  parameters.lowSpeedLimit = 10;
  parameters.lowSpeedTimeSec = 1200;
}

int JsonPost::SetUp(void* curlHandle, void* post, list<string>& headers) {
  CURL* const handle = curlHandle;
  JsonPost& self = ToPost(post);
  self.mReadPosition = 0;
  self.response.clear();
  self.mHead = {};
  self.mFailure = {};
  headers.emplace_back("Content-Type: application/json");
  int failed = SetFunction(handle, CURLOPT_WRITEFUNCTION, OnWrite);
  failed |= SetFunction(handle, CURLOPT_READFUNCTION, OnRead);
  failed |= SetFunction(handle, CURLOPT_XFERINFOFUNCTION, GoOn);
  failed |= SetLong(handle, CURLOPT_POST, 1);
  failed |= SetLong(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(self.body.size()));
  failed |= SetPointer(handle, CURLOPT_HEADERDATA, post);
  failed |= SetFunction(handle, CURLOPT_HEADERFUNCTION, OnHeader);
  return failed;
}

size_t JsonPost::OnWrite(char* data, size_t size, size_t count, void* post) noexcept {
  JsonPost& self = ToPost(post);
  return self.mFailure.run(size_t{0}, [&] {
    self.response.append(data, size * count);
    return size * count;
  });
}

size_t JsonPost::OnHeader(char* data, size_t size, size_t count, void* post) noexcept {
  ToPost(post).mHead.addLine({data, size * count});
  return size * count;
}

size_t JsonPost::OnRead(char* buffer, size_t size, size_t count, void* post) noexcept {
  JsonPost& self = ToPost(post);
  const size_t n = std::min(size * count, self.body.size() - self.mReadPosition);
  std::copy_n(self.body.data() + self.mReadPosition, n, buffer);
  self.mReadPosition += n;
  return n;
}

}  // namespace qx::http::impl
