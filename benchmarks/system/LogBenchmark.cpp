// A log line that is off, beside an empty loop.
#include "netweft/base/system/qxLogObject.h"

#include <benchmark/benchmark.h>

namespace {

void LineThatIsOff(benchmark::State& state) {
  for (auto _ : state)
    qx::LogDetail("http") << "a line with a number " << 17 << " and a text "
                          << "text";
}

void EmptyLoop(benchmark::State& state) {
  for (auto _ : state) benchmark::ClobberMemory();
}

BENCHMARK(LineThatIsOff);
BENCHMARK(EmptyLoop);

}  // namespace
