// The scanner of views over 4 MiB, without a callback, in pieces of several sizes, beside a state machine that looks at
// each byte, and beside copying.
#include "benchmarks/support/ByteMachine.h"
#include "benchmarks/support/Splits.h"
#include "benchmarks/support/StubServer.h"
#include "netweft/couch/internal/ViewStreamParser.h"

namespace qx::bench {

namespace {

const string& View() {
  static const string sView = [] {
    string rows;
    for (uint64 i = 0; rows.size() < 4 << 20; ++i) {
      const string id = "document-" + std::to_string(i);
      rows += (rows.empty() ? "" : ",\n") + (R"({"id":")" + id) + R"(","key":")" + id +
              R"(","value":{"rev":"1-967a00dff5e02add41819138abb3284d"},"doc":{)" + DocumentMembers(id) + "}}";
    }
    return R"({"total_rows":5000,"offset":0,"rows":[)" + rows + "\n]}";
  }();
  return sView;
}

struct Scanner {
  couch::ViewStreamParser parser{nullptr, nullptr, nullptr};
};

void ScanView(benchmark::State& state) {
  FeedInPieces<Scanner>(state, View(), [](Scanner& scanner, const char* data, size_t size) {
    if (!scanner.parser.scan(data, size)) std::abort();
  });
}

void ScanViewByteByByte(benchmark::State& state) {
  FeedInPieces<ByteMachine>(state, View(),
                            [](ByteMachine& machine, const char* data, size_t size) { machine.add(data, size); });
}

void CopyView(benchmark::State& state) { CopyText(state, View()); }

BENCHMARK(ScanView)->Apply(EachSplit);
BENCHMARK(ScanViewByteByByte)->Apply(EachSplit);
BENCHMARK(CopyView);

}  // namespace

}  // namespace qx::bench
