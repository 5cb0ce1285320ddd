// Fetches one address again and again over one connection that is kept alive: with HttpHelpers, or with bare libcurl
// whose options are set once. scripts/bench counts the instructions of both.
//   get_loop ours|bare URL COUNT
#include "netweft/frame/Netweft.h"
#include "netweft/http/HttpHelpers.h"

#include <curl/curl.h>

#include <iostream>

namespace {

using namespace qx;

size_t Append(char* data, size_t size, size_t count, void* content) {
  static_cast<string*>(content)->append(data, size * count);
  return size * count;
}

uint64 GetWithHelpers(const string& address, uint64 count) {
  http::HttpConnection connection(false);
  const Url url(address);
  uint64 good = 0;
  string content;
  http::HttpHelpers::HttpResult result;
  result.content = &content;
  for (uint64 i = 0; i < count; ++i) {
    if (http::HttpHelpers::HttpGet(connection, url, &result)) ++good;
  }
  return good;
}

/// What the library sets for each request, set once.
void SetSameOptions(CURL* handle) {
  curl_easy_setopt(handle, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(handle, CURLOPT_COOKIEJAR, "/dev/null");
  curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(handle, CURLOPT_MAXREDIRS, 3L);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, 10L);
  curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, 10L);
  curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, 10L);
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  static char errorText[CURL_ERROR_SIZE];
  curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, errorText);
}

uint64 GetBare(const string& address, uint64 count) {
  CURL* const handle = curl_easy_init();
  SetSameOptions(handle);
  curl_slist* headers = curl_slist_append(nullptr, "Content-Type:application/octet-stream");
  headers = curl_slist_append(headers, "Connection: Keep-Alive");
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
  string content;
  curl_easy_setopt(handle, CURLOPT_URL, address.c_str());
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Append);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &content);
  uint64 good = 0;
  for (uint64 i = 0; i < count; ++i) {
    content.clear();
    long status = 0;
    if (curl_easy_perform(handle) == CURLE_OK &&
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status) == CURLE_OK && status == 200) {
      ++good;
    }
  }
  curl_easy_cleanup(handle);
  curl_slist_free_all(headers);
  return good;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const uint64 count = std::stoull(argv[3]);
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
  const uint64 good = string(argv[1]) == "ours" ? GetWithHelpers(argv[2], count) : GetBare(argv[2], count);
  terminateNetweft();
  std::cout << good << " of " << count << '\n';
  return good == count ? 0 : 1;
}
