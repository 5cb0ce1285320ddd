#include "tests/support/CurlMultiFaults.h"

#include <utility>

using qx::test::CurlMultiFaults;

namespace {

CurlMultiFaults* activeFaults = nullptr;

CURLMcode Take(CurlMultiFaults::Function function) {
  return activeFaults == nullptr ? CURLM_OK : activeFaults->take(function);
}

}  // namespace

extern "C" {

CURLMcode __real_curl_multi_perform(CURLM* multi, int* running);
CURLMcode __real_curl_multi_wait(CURLM* multi, curl_waitfd* extra, unsigned int count, int timeoutMs, int* ready);
CURLMcode __real_curl_multi_add_handle(CURLM* multi, CURL* handle);
CURLMcode __real_curl_multi_remove_handle(CURLM* multi, CURL* handle);
CURLMsg* __real_curl_multi_info_read(CURLM* multi, int* queued);
CURLMcode __real_curl_multi_cleanup(CURLM* multi);

CURLMcode __wrap_curl_multi_perform(CURLM* multi, int* running);
CURLMcode __wrap_curl_multi_wait(CURLM* multi, curl_waitfd* extra, unsigned int count, int timeoutMs, int* ready);
CURLMcode __wrap_curl_multi_add_handle(CURLM* multi, CURL* handle);
CURLMcode __wrap_curl_multi_remove_handle(CURLM* multi, CURL* handle);
CURLMsg* __wrap_curl_multi_info_read(CURLM* multi, int* queued);
CURLMcode __wrap_curl_multi_cleanup(CURLM* multi);

CURLMcode __wrap_curl_multi_perform(CURLM* multi, int* running) {
  const CURLMcode code = Take(CurlMultiFaults::F_Perform);
  return code != CURLM_OK ? code : __real_curl_multi_perform(multi, running);
}

CURLMcode __wrap_curl_multi_wait(CURLM* multi, curl_waitfd* extra, unsigned int count, int timeoutMs, int* ready) {
  if (activeFaults != nullptr) activeFaults->keepWait(count, timeoutMs);
  const CURLMcode code = Take(CurlMultiFaults::F_Wait);
  return code != CURLM_OK ? code : __real_curl_multi_wait(multi, extra, count, timeoutMs, ready);
}

CURLMcode __wrap_curl_multi_add_handle(CURLM* multi, CURL* handle) {
  const CURLMcode code = Take(CurlMultiFaults::F_AddHandle);
  return code != CURLM_OK ? code : __real_curl_multi_add_handle(multi, handle);
}

CURLMcode __wrap_curl_multi_remove_handle(CURLM* multi, CURL* handle) {
  const CURLMcode code = Take(CurlMultiFaults::F_RemoveHandle);
  return code != CURLM_OK ? code : __real_curl_multi_remove_handle(multi, handle);
}

CURLMsg* __wrap_curl_multi_info_read(CURLM* multi, int* queued) {
  Take(CurlMultiFaults::F_InfoRead);
  CURLMsg* const announced = activeFaults == nullptr ? nullptr : activeFaults->takeAnnounced();
  return announced != nullptr ? announced : __real_curl_multi_info_read(multi, queued);
}

CURLMcode __wrap_curl_multi_cleanup(CURLM* multi) {
  const CURLMcode faked = Take(CurlMultiFaults::F_Cleanup);
  const CURLMcode code = __real_curl_multi_cleanup(multi);
  return faked != CURLM_OK ? faked : code;
}

}  // extern "C"

namespace qx::test {

CurlMultiFaults::CurlMultiFaults() { activeFaults = this; }

CurlMultiFaults::~CurlMultiFaults() { activeFaults = nullptr; }

void CurlMultiFaults::fail(Function function, CURLMcode code, int times) { mFaults[function] = {code, times}; }

CURLMcode CurlMultiFaults::take(Function function) {
  ++mCalls[function];
  Fault& fault = mFaults[function];
  if (fault.times == 0) return CURLM_OK;
  --fault.times;
  return fault.code;
}

CURLMsg* CurlMultiFaults::takeAnnounced() {
  if (mAnnounced == nullptr) return nullptr;
  mMessage = {};
  mMessage.msg = CURLMSG_DONE;
  mMessage.easy_handle = std::exchange(mAnnounced, nullptr);
  return &mMessage;
}

void CurlMultiFaults::keepWait(unsigned int descriptors, int timeoutMs) {
  mLastWaitDescriptors = descriptors;
  mLastWaitMs = timeoutMs;
}

}  // namespace qx::test
