#include "tests/couch/CurlMultiFaults.h"

#include <curl/curl.h>

#include <utility>

extern "C" {
CURLMcode __real_curl_multi_add_handle(CURLM* multi, CURL* handle);
CURLMcode __real_curl_multi_remove_handle(CURLM* multi, CURL* handle);
CURLMcode __real_curl_multi_perform(CURLM* multi, int* running);
CURLMcode __real_curl_multi_cleanup(CURLM* multi);
CURLMsg* __real_curl_multi_info_read(CURLM* multi, int* queued);

CURLMcode __wrap_curl_multi_add_handle(CURLM* multi, CURL* handle);
CURLMcode __wrap_curl_multi_remove_handle(CURLM* multi, CURL* handle);
CURLMcode __wrap_curl_multi_perform(CURLM* multi, int* running);
CURLMcode __wrap_curl_multi_cleanup(CURLM* multi);
CURLMsg* __wrap_curl_multi_info_read(CURLM* multi, int* queued);
}

namespace qx::test {

namespace {

CurlMultiFaults* activeFaults = nullptr;
CURLMsg unknownMessage;

CURLMcode Choose(CURLMcode real, int CurlMultiFaults::*forced) {
  if (activeFaults == nullptr || activeFaults->*forced == 0) return real;
  return static_cast<CURLMcode>(activeFaults->*forced);
}

}  // namespace

CurlMultiFaults::CurlMultiFaults() { activeFaults = this; }

CurlMultiFaults::~CurlMultiFaults() { activeFaults = nullptr; }

}  // namespace qx::test

using qx::test::CurlMultiFaults;

CURLMcode __wrap_curl_multi_add_handle(CURLM* multi, CURL* handle) {
  const CURLMcode forced = qx::test::Choose(CURLM_OK, &CurlMultiFaults::addCode);
  return forced != CURLM_OK ? forced : __real_curl_multi_add_handle(multi, handle);
}

CURLMcode __wrap_curl_multi_remove_handle(CURLM* multi, CURL* handle) {
  return qx::test::Choose(__real_curl_multi_remove_handle(multi, handle), &CurlMultiFaults::removeCode);
}

CURLMcode __wrap_curl_multi_perform(CURLM* multi, int* running) {
  if (qx::test::activeFaults != nullptr) ++qx::test::activeFaults->performs;
  return qx::test::Choose(__real_curl_multi_perform(multi, running), &CurlMultiFaults::performCode);
}

CURLMcode __wrap_curl_multi_cleanup(CURLM* multi) {
  return qx::test::Choose(__real_curl_multi_cleanup(multi), &CurlMultiFaults::cleanupCode);
}

CURLMsg* __wrap_curl_multi_info_read(CURLM* multi, int* queued) {
  CurlMultiFaults* const faults = qx::test::activeFaults;
  if (faults == nullptr) return __real_curl_multi_info_read(multi, queued);
  ++faults->reads;
  if (faults->unknownHandle == nullptr) return __real_curl_multi_info_read(multi, queued);
  qx::test::unknownMessage = {CURLMSG_DONE, std::exchange(faults->unknownHandle, nullptr), {}};
  return &qx::test::unknownMessage;
}
