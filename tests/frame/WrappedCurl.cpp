#include "tests/frame/WrappedCurl.h"

#include <curl/curl.h>

extern "C" {
char* __real_curl_version();
CURLcode __real_curl_global_init(long flags);
void __real_curl_global_cleanup();
char* __wrap_curl_version();
CURLcode __wrap_curl_global_init(long flags);
void __wrap_curl_global_cleanup();
}

namespace qx::test {

namespace {

bool isVersionFaked = false;
const char* fakedVersion = nullptr;
int starts = 0;
int ends = 0;
long lastFlags = 0;

}  // namespace

FakeCurlVersion::FakeCurlVersion(const char* text) {
  isVersionFaked = true;
  fakedVersion = text;
}

FakeCurlVersion::~FakeCurlVersion() { isVersionFaked = false; }

int CountCurlStarts() { return starts; }
int CountCurlEnds() { return ends; }
long GetLastCurlStartFlags() { return lastFlags; }

}  // namespace qx::test

extern "C" {

char* __wrap_curl_version() {
  return qx::test::isVersionFaked ? const_cast<char*>(qx::test::fakedVersion) : __real_curl_version();
}

CURLcode __wrap_curl_global_init(long flags) {
  ++qx::test::starts;
  qx::test::lastFlags = flags;
  return __real_curl_global_init(flags);
}

void __wrap_curl_global_cleanup() {
  ++qx::test::ends;
  __real_curl_global_cleanup();
}
}
