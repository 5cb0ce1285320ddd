// Requests per second of HttpMultiConnection with 16 slots beside a bare loop over curl_multi with 16 handles, to the
// same server, which answers twelve bytes after so many milliseconds. Argument: those milliseconds.
#include "benchmarks/support/BareMulti.h"
#include "benchmarks/support/StubServer.h"
#include "netweft/frame/Netweft.h"
#include "netweft/http/HttpMultiConnection.h"

#include <benchmark/benchmark.h>

namespace qx::bench {

namespace {

constexpr uint64 sRequests = 4'000;

string TwelveBytes(const string&) { return "twelve bytes"; }

void CountRequests(benchmark::State& state, uint64 good) {
  if (good != sRequests) state.SkipWithError("requests have failed");
  state.counters["requests"] =
      benchmark::Counter(static_cast<double>(sRequests), benchmark::Counter::kIsIterationInvariantRate);
}

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
  http::HttpMultiConnection multi(BareMulti::sSlots);
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
