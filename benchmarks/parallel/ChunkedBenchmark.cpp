// The chunked device beside memcpy: both bring the same writes into the same memory. Argument: bytes in each write.
#include "netweft/http/qxIoDeviceHttpChuncked.h"

#include <benchmark/benchmark.h>

#include <cstring>

namespace qx::bench {

namespace {

constexpr size_t sTotal = 64 << 20;
constexpr size_t sRing = 4 << 20;

/// Copies what it is given round and round in a fixed memory.
class RingDevice final : public qxIoDevice {
 public:
  uint64 readBytes(char*, uint64) override { return 0; }
  uint64 writeBytes(const char* src, uint64 n) override {
    if (mAt + n > mRing.size()) mAt = 0;
    std::memcpy(mRing.data() + mAt, src, n);
    mAt += n;
    return n;
  }
  bool hasError() const override { return false; }
  bool atEnd() const override { return true; }
  bool seekg(int64, SeekStart) override { return false; }
  bool seekp(int64, SeekStart) override { return false; }
  uint64 tellg() override { return 0; }
  uint64 tellp() override { return 0; }

 private:
  vector<char> mRing = vector<char>(sRing);
  size_t mAt = 0;
};

void SetBytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(sTotal));
}

void ChunkedDevice(benchmark::State& state) {
  const auto size = static_cast<size_t>(state.range(0));
  const string data(size, 'x');
  RingDevice ring;
  http::qxIoDeviceHttpChuncked chunked;
  for (auto _ : state) {
    chunked.beginDelegation(&ring);
    for (size_t written = 0; written < sTotal; written += size) chunked.writeBytes(data.data(), size);
    benchmark::DoNotOptimize(chunked.endDelegation());
  }
  SetBytes(state);
}

/// One copy, as a write too large for the buffer costs in the ring.
void OneMemcpy(benchmark::State& state) {
  const auto size = static_cast<size_t>(state.range(0));
  const string data(size, 'x');
  RingDevice ring;
  for (auto _ : state) {
    for (size_t written = 0; written < sTotal; written += size) {
      benchmark::DoNotOptimize(ring.writeBytes(data.data(), size));
    }
  }
  SetBytes(state);
}

/// Two copies, as smaller writes cost: gathered in a buffer of a megabyte, and from there into the ring.
void TwoMemcpys(benchmark::State& state) {
  const auto size = static_cast<size_t>(state.range(0));
  const string data(size, 'x');
  vector<char> buffer(1'048'576);
  RingDevice ring;
  for (auto _ : state) {
    size_t at = 0;
    for (size_t written = 0; written < sTotal; written += size) {
      if (at + size > buffer.size()) {
        ring.writeBytes(buffer.data(), at);
        at = 0;
      }
      std::memcpy(buffer.data() + at, data.data(), size);
      at += size;
    }
    benchmark::DoNotOptimize(ring.writeBytes(buffer.data(), at));
  }
  SetBytes(state);
}

BENCHMARK(ChunkedDevice)->RangeMultiplier(16)->Range(16, 1 << 20)->Arg(3 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(TwoMemcpys)->RangeMultiplier(16)->Range(16, 1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(OneMemcpy)->Arg(3 << 20)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace qx::bench
