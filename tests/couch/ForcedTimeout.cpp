#include "tests/couch/ForcedTimeout.h"

#include <curl/curl.h>

#include <atomic>

extern "C" {
CURLcode __real_curl_easy_perform(CURL* handle);
CURLcode __wrap_curl_easy_perform(CURL* handle);
}

namespace {

std::atomic<bool> isForced = false;
std::atomic<int> forcedCount = 0;

}  // namespace

CURLcode __wrap_curl_easy_perform(CURL* handle) {
  if (!isForced) return __real_curl_easy_perform(handle);
  ++forcedCount;
  return CURLE_OPERATION_TIMEDOUT;
}

namespace qx::test {

ForcedTimeout::ForcedTimeout() {
  forcedCount = 0;
  isForced = true;
}

ForcedTimeout::~ForcedTimeout() { isForced = false; }

int ForcedTimeout::getCount() { return forcedCount; }

}  // namespace qx::test
