// Requests per second of HttpMultiConnection with 16 slots beside a bare loop over curl_multi with 16 handles, to the
// same server, which answers twelve bytes after so many milliseconds. Argument: those milliseconds.
#include "benchmarks/support/StubServer.h"
#include "netweft/frame/Netweft.h"
#include "netweft/http/HttpMultiConnection.h"

#include <benchmark/benchmark.h>
#include <curl/curl.h>

namespace qx::bench {

namespace {

constexpr int sSlots = 16;
constexpr uint64 sRequests = 4'000;

string TwelveBytes(const string&) { return "twelve bytes"; }

void CountRequests(benchmark::State& state, uint64 good) {
  if (good != sRequests) state.SkipWithError("requests have failed");
  state.counters["requests"] =
      benchmark::Counter(static_cast<double>(sRequests), benchmark::Counter::kIsIterationInvariantRate);
}

size_t Append(char* data, size_t size, size_t count, void* content) {
  static_cast<string*>(content)->append(data, size * count);
  return size * count;
}

/// Sixteen easy handles on one multi handle: what a program without the library would do.
class BareMulti {
 public:
  explicit BareMulti(const string& url) : mMulti(curl_multi_init()), mSlots(sSlots) {
    for (Slot& slot : mSlots) {
      slot.handle = curl_easy_init();
      curl_easy_setopt(slot.handle, CURLOPT_URL, url.c_str());
      curl_easy_setopt(slot.handle, CURLOPT_PROXY, "");
      curl_easy_setopt(slot.handle, CURLOPT_WRITEFUNCTION, Append);
      curl_easy_setopt(slot.handle, CURLOPT_WRITEDATA, &slot.content);
      curl_easy_setopt(slot.handle, CURLOPT_PRIVATE, &slot);
    }
  }
  BareMulti(const BareMulti&) = delete;
  BareMulti& operator=(const BareMulti&) = delete;
  ~BareMulti() {
    for (const Slot& slot : mSlots) {
      curl_multi_remove_handle(mMulti, slot.handle);
      curl_easy_cleanup(slot.handle);
    }
    curl_multi_cleanup(mMulti);
  }

  /// How many requests were answered with status 200.
  uint64 run(uint64 count, bool waitsFirst) {
    mLeft = count;
    mGood = 0;
    for (Slot& slot : mSlots) start(slot);
    for (int running = 1; running > 0;) {
      running = waitsFirst ? performAndWait() : perform();
      running += finishDone();
      if (running > 0 && !waitsFirst) curl_multi_poll(mMulti, nullptr, 0, 1000, nullptr);
    }
    return mGood;
  }

 private:
  struct Slot {
    CURL* handle = nullptr;
    string content;
  };

  int perform() {
    int running = 0;
    curl_multi_perform(mMulti, &running);
    return running;
  }

  int performAndWait() {
    int running = 0;
    int ready = 0;
    for (int turn = 0; turn < 3 && ready == 0; ++turn) {
      running = perform();
      curl_multi_wait(mMulti, nullptr, 0, 5, &ready);
    }
    return running;
  }

  bool start(Slot& slot) {
    if (mLeft == 0) return false;
    --mLeft;
    slot.content.clear();
    return curl_multi_add_handle(mMulti, slot.handle) == CURLM_OK;
  }

  /// Gives how many were started anew.
  int finishDone() {
    int started = 0;
    int queued = 0;
    while (const CURLMsg* const message = curl_multi_info_read(mMulti, &queued)) {
      Slot* slot = nullptr;
      long status = 0;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &slot);
      curl_easy_getinfo(message->easy_handle, CURLINFO_RESPONSE_CODE, &status);
      if (message->data.result == CURLE_OK && status == 200) ++mGood;
      curl_multi_remove_handle(mMulti, slot->handle);
      if (start(*slot)) ++started;
    }
    return started;
  }

  CURLM* const mMulti;
  vector<Slot> mSlots;
  uint64 mLeft = 0;
  uint64 mGood = 0;
};

void RunBare(benchmark::State& state, bool waitsFirst) {
  StubServer server(TwelveBytes, static_cast<int>(state.range(0)));
  BareMulti multi(server.getUrl() + "/path");
  uint64 good = 0;
  for (auto _ : state) good = multi.run(sRequests, waitsFirst);
  CountRequests(state, good);
}

void MultiBare(benchmark::State& state) { RunBare(state, false); }

void MultiBareWaitingFirst(benchmark::State& state) { RunBare(state, true); }

void CountGood(http::HttpMultiConnection&, long httpCode, const string&, const qxVariantMapImpl&, vector<char>&,
               void* good, void*) {
  if (httpCode == 200) ++*static_cast<uint64*>(good);
}

void Multi(benchmark::State& state) {
  StubServer server(TwelveBytes, static_cast<int>(state.range(0)));
  const Url url(server.getUrl() + "/path");
  http::HttpMultiConnection multi(sSlots);
  uint64 good = 0;
  multi.setCallback(CountGood, &good);
  for (auto _ : state) {
    good = 0;
    for (uint64 i = 0; i < sRequests; ++i) {
      auto request = std::make_unique<http::HttpMultiConnection::Request>();
      request->url = url;
      multi.addRequest(request);
    }
    while (!multi.isAllRequestsDone()) multi.updateConnection(1000);
  }
  CountRequests(state, good);
}

const bool sInitialized = [] {
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
  return true;
}();

void EachCase(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("think_ms")->Arg(0)->Arg(5)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(MultiBare)->Apply(EachCase);
BENCHMARK(MultiBareWaitingFirst)->Apply(EachCase);
BENCHMARK(Multi)->Apply(EachCase);

}  // namespace

}  // namespace qx::bench
