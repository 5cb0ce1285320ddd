#include "benchmarks/parallel/BareClient.h"

#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <thread>

namespace qx::bench {

namespace {

size_t Append(char* data, size_t size, size_t count, void* answer) {
  static_cast<string*>(answer)->append(data, size * count);
  return size * count;
}

bool Post(CURL* handle, const string& body, string& answer) {
  answer.clear();
  curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body.data());
  long status = 0;
  return curl_easy_perform(handle) == CURLE_OK &&
         curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status) == CURLE_OK && status / 100 == 2;
}

}  // namespace

uint64 PostBatches(const string& url, const vector<string>& ids, unsigned int threads, uint64 batchSize,
                   const std::function<string(const string* first, const string* last)>& makeBody,
                   const std::function<void(const string& answer)>& onAnswer) {
  std::atomic<uint64> next{0};
  std::atomic<uint64> good{0};
  const auto work = [&] {
    CURL* const handle = curl_easy_init();
    curl_slist* const headers = curl_slist_append(nullptr, "Content-Type: application/json");
    string answer;
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &answer);
    for (uint64 from = next.fetch_add(batchSize); from < ids.size(); from = next.fetch_add(batchSize)) {
      const uint64 to = std::min<uint64>(from + batchSize, ids.size());
      if (!Post(handle, makeBody(ids.data() + from, ids.data() + to), answer)) continue;
      ++good;
      if (onAnswer != nullptr) onAnswer(answer);
    }
    curl_slist_free_all(headers);
    curl_easy_cleanup(handle);
  };
  vector<std::thread> workers;
  for (unsigned int i = 0; i < threads; ++i) workers.emplace_back(work);
  for (std::thread& worker : workers) worker.join();
  return good;
}

}  // namespace qx::bench
