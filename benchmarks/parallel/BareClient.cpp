#include "benchmarks/parallel/BareClient.h"

#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace qx::bench {

namespace {

size_t Append(char* data, size_t size, size_t count, void* answer) {
  static_cast<string*>(answer)->append(data, size * count);
  return size * count;
}

/// One easy handle that posts JSON to one address.
class Poster {
 public:
  explicit Poster(const string& url)
      : mHandle(curl_easy_init()), mHeaders(curl_slist_append(nullptr, "Content-Type: application/json")) {
    curl_easy_setopt(mHandle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(mHandle, CURLOPT_HTTPHEADER, mHeaders);
    curl_easy_setopt(mHandle, CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(mHandle, CURLOPT_WRITEDATA, &mAnswer);
  }
  Poster(const Poster&) = delete;
  Poster& operator=(const Poster&) = delete;
  ~Poster() {
    curl_slist_free_all(mHeaders);
    curl_easy_cleanup(mHandle);
  }

  /// True for an answer with status 200 or 201.
  bool post(const string& body) {
    mAnswer.clear();
    curl_easy_setopt(mHandle, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(mHandle, CURLOPT_POSTFIELDS, body.data());
    long status = 0;
    return curl_easy_perform(mHandle) == CURLE_OK &&
           curl_easy_getinfo(mHandle, CURLINFO_RESPONSE_CODE, &status) == CURLE_OK && status / 100 == 2;
  }
  const string& getAnswer() const { return mAnswer; }

 private:
  CURL* const mHandle;
  curl_slist* const mHeaders;
  string mAnswer;
};

/// A place for one body between those who make bodies and those who post them.
class Slot {
 public:
  void put(string body) {
    std::unique_lock lock(mMutex);
    mRoom.wait(lock, [this] { return mBody.empty(); });
    mBody = std::move(body);
    lock.unlock();
    mFilled.notify_one();
  }
  void close() {
    const std::lock_guard lock(mMutex);
    mIsClosed = true;
    mFilled.notify_all();
  }
  /// Empty once the slot is closed.
  string take() {
    std::unique_lock lock(mMutex);
    mFilled.wait(lock, [this] { return !mBody.empty() || mIsClosed; });
    string body = std::exchange(mBody, {});
    lock.unlock();
    mRoom.notify_one();
    return body;
  }

 private:
  std::mutex mMutex;
  std::condition_variable mRoom;
  std::condition_variable mFilled;
  string mBody;
  bool mIsClosed = false;
};

template <class Work>
vector<std::thread> StartThreads(unsigned int count, const Work& work) {
  vector<std::thread> threads;
  for (unsigned int i = 0; i < count; ++i) threads.emplace_back(work);
  return threads;
}

}  // namespace

uint64 PostBatches(const string& url, const vector<string>& ids, unsigned int threads, uint64 batchSize,
                   const std::function<string(const string* first, const string* last)>& makeBody,
                   const std::function<void(const string& answer)>& onAnswer) {
  std::atomic<uint64> next{0};
  std::atomic<uint64> good{0};
  const auto work = [&] {
    Poster poster(url);
    for (uint64 from = next.fetch_add(batchSize); from < ids.size(); from = next.fetch_add(batchSize)) {
      const uint64 to = std::min<uint64>(from + batchSize, ids.size());
      if (!poster.post(makeBody(ids.data() + from, ids.data() + to))) continue;
      ++good;
      if (onAnswer != nullptr) onAnswer(poster.getAnswer());
    }
  };
  for (std::thread& worker : StartThreads(threads, work)) worker.join();
  return good;
}

uint64 PostHandedOver(const string& url, const vector<string>& ids, unsigned int threads,
                      const std::function<string(const string& id)>& makeBody) {
  Slot slot;
  std::atomic<uint64> good{0};
  const auto work = [&] {
    Poster poster(url);
    for (string body = slot.take(); !body.empty(); body = slot.take()) good += poster.post(body) ? 1 : 0;
  };
  vector<std::thread> workers = StartThreads(threads, work);
  for (const string& id : ids) slot.put(makeBody(id));
  slot.close();
  for (std::thread& worker : workers) worker.join();
  return good;
}

}  // namespace qx::bench
