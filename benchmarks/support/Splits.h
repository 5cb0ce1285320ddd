#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace qx::bench {

/// Gives `text` to `take(data, size)` in pieces of the benchmark's argument, 0 for one piece, over and over, and counts
/// bytes.
template <class Reader, class Take>
void FeedInPieces(benchmark::State& state, const std::string& text, Take take) {
  const size_t piece = state.range(0) == 0 ? text.size() : static_cast<size_t>(state.range(0));
  for (auto _ : state) {
    Reader reader;
    for (size_t at = 0; at < text.size(); at += piece) {
      take(reader, text.data() + at, std::min(piece, text.size() - at));
    }
    benchmark::DoNotOptimize(reader);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

inline void CopyText(benchmark::State& state, const std::string& text) {
  std::vector<char> room(text.size());
  for (auto _ : state) {
    std::memcpy(room.data(), text.data(), text.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

inline void EachSplit(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("piece")->Arg(1)->Arg(64)->Arg(1024)->Arg(16384)->Arg(0);
}

}  // namespace qx::bench
