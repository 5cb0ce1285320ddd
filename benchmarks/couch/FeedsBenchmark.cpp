// What a call of updateListener costs while so many feeds are open and nothing comes on them, beside a bare multi
// handle with as many transfers that is asked to go on three times, as a pass of the listener does. Argument: the
// feeds.
#include "benchmarks/support/StubServer.h"
#include "netweft/couch/ChangesListener.h"
#include "netweft/frame/Netweft.h"

#include <benchmark/benchmark.h>
#include <curl/curl.h>

namespace qx::bench {

namespace {

/// One heartbeat in the only chunk: the feed is open, and stays so.
string OpenFeed(const string&, const string&) {
  return "HTTP/1.1 200 Fine\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n1\r\n\n\r\n";
}

void CountHeartbeat(couch::ChangesListener::CallbackMsg message, const couch::ChangesListener::CallbackParam&,
                    void* count) {
  if (message == couch::ChangesListener::CM_Heartbeat) ++*static_cast<int64*>(count);
}

void IdleFeeds(benchmark::State& state) {
  StubServer server(OpenFeed);
  couch::ChangesListener listener{couch::CouchConnectionParameters(Url(server.getUrl()))};
  int64 open = 0;
  for (int64 i = 0; i < state.range(0); ++i) {
    listener.startListeningDb("db" + std::to_string(i), 0, CountHeartbeat, &open,
                              couch::ChangesListener::RC_ChangesOnly, 10, 30, 1);
  }
  while (open < state.range(0)) listener.updateListener(100);
  for (auto _ : state) listener.updateListener(100);
}

size_t CountBytes(char*, size_t size, size_t count, void* total) {
  *static_cast<int64*>(total) += static_cast<int64>(size * count);
  return size * count;
}

void IdleTransfersBare(benchmark::State& state) {
  StubServer server(OpenFeed);
  CURLM* const multi = curl_multi_init();
  vector<CURL*> handles(static_cast<size_t>(state.range(0)));
  int64 open = 0;
  for (CURL*& handle : handles) {
    handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, server.getUrl().c_str());
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, CountBytes);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &open);
    curl_multi_add_handle(multi, handle);
  }
  int running = 0;
  while (open < state.range(0)) curl_multi_perform(multi, &running);
  for (auto _ : state) {
    for (int i = 0; i < 3; ++i) curl_multi_perform(multi, &running);
  }
  for (CURL* const handle : handles) {
    curl_multi_remove_handle(multi, handle);
    curl_easy_cleanup(handle);
  }
  curl_multi_cleanup(multi);
}

void EachCount(benchmark::internal::Benchmark* benchmark) { benchmark->ArgName("feeds")->Arg(5)->Arg(50)->Arg(500); }

const bool sInitialized = [] {
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
  return true;
}();

BENCHMARK(IdleFeeds)->Apply(EachCount);
BENCHMARK(IdleTransfersBare)->Apply(EachCount);

}  // namespace

}  // namespace qx::bench
