// How far the measured round trip is from the truth while every core is busy. On loopback the truth is some
// microseconds, so that whatever is measured beyond them is the error. Times are those of single echoes; the counters
// hold the distribution of what was measured, in whole milliseconds as results have it.
#include "netweft/icmp/IcmpHostStatRetriever.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <thread>

namespace {

using qx::IcmpHostStatRetriever;

/// Keeps all cores busy, more than once each.
class Load {
 public:
  explicit Load(unsigned threadsPerCore) {
    for (unsigned i = 0; i < threadsPerCore * std::max(1U, std::thread::hardware_concurrency()); ++i) {
      mThreads.emplace_back([this] {
        for (unsigned long turns = 0; !mStopping; ++turns) benchmark::DoNotOptimize(turns);
      });
    }
  }
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;
  ~Load() {
    mStopping = true;
    for (std::thread& thread : mThreads) thread.join();
  }

 private:
  std::atomic<bool> mStopping = false;
  std::vector<std::thread> mThreads;
};

void BM_RoundTrip(benchmark::State& state) {
  const Load load(static_cast<unsigned>(state.range(0)));
  IcmpHostStatRetriever retriever;
  std::vector<IcmpHostStatRetriever::Result> results;
  std::vector<qx::uint32> measured;
  for (auto _ : state) {
    retriever.requestStatistict({{"127.0.0.1", 0}}, {});
    while (!retriever.isRequestDone()) std::this_thread::sleep_for(std::chrono::microseconds(50));
    retriever.finalizeRequest(results);
    if (!results.front().isValid()) return state.SkipWithError(results.front().errorMessage.c_str());
    measured.push_back(results.front().latencyMs);
  }
  std::sort(measured.begin(), measured.end());
  state.counters["median_ms"] = measured[measured.size() / 2];
  state.counters["p99_ms"] = measured[measured.size() * 99 / 100];
  state.counters["worst_ms"] = measured.back();
}
BENCHMARK(BM_RoundTrip)->Arg(0)->Arg(1)->Arg(4)->Iterations(500)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
