// The reader of search replies over 4 MiB in pieces of several sizes, beside a state machine that looks at each byte,
// and beside copying.
#include "benchmarks/support/ByteMachine.h"
#include "benchmarks/support/Splits.h"
#include "benchmarks/support/StubServer.h"
#include "netweft/elasticsearch/SearchResultParserInterface.h"

namespace qx::bench {

namespace {

const string& Reply() {
  static const string sReply = [] {
    string hits;
    for (uint64 i = 0; hits.size() < 4 << 20; ++i) {
      const string id = "document-" + std::to_string(i);
      hits += (hits.empty() ? "" : ",") + (R"({"_index":"articles","_type":"_doc","_id":")" + id) +
              R"(","_score":1.0,"_source":{)" + DocumentMembers(id) + "}}";
    }
    return R"({"took":1,"timed_out":false,"hits":{"total":5000,"max_score":1.0,"hits":[)" + hits + "]}}";
  }();
  return sReply;
}

class HitCounter final : public elasticsearch::SearchResultParserInterface {
 public:
  uint64 hits = 0;

 private:
  void onHit(string&, string&, string&, string&, string&) override { ++hits; }
};

void ReadSearch(benchmark::State& state) {
  FeedInPieces<HitCounter>(state, Reply(), [](HitCounter& counter, const char* data, size_t size) {
    if (!counter.addData(data, size)) std::abort();
  });
}

void ReadSearchByteByByte(benchmark::State& state) {
  FeedInPieces<ByteMachine>(state, Reply(),
                            [](ByteMachine& machine, const char* data, size_t size) { machine.add(data, size); });
}

void CopySearch(benchmark::State& state) { CopyText(state, Reply()); }

BENCHMARK(ReadSearch)->Apply(EachSplit);
BENCHMARK(ReadSearchByteByByte)->Apply(EachSplit);
BENCHMARK(CopySearch);

}  // namespace

}  // namespace qx::bench
