// A million changes of half a million documents through the queue of one database, and out again, beside a list of
// strings with a map from id to place. The memory is what the allocator has handed out when the queue is at its
// fullest. Argument: the length of the ids; up to 15 bytes stand in the peer's strings themselves.
#include "netweft/river/internal/ChangeQueue.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>

namespace qx::bench {

namespace {

constexpr uint64 sChanges = 1'000'000;
constexpr uint64 sDocuments = 500'000;

/// A short name, as people give them, or 32 digits without an order, as CouchDB gives them.
string IdOf(uint64 change, int64 size) {
  const uint64 number = change * 2'654'435'761ULL % sDocuments;
  if (size != 32) return "article-" + std::to_string(number);
  char text[33];
  std::snprintf(text, sizeof(text), "%016llx%016llx", (number + 1) * 0x9e3779b97f4a7c15ULL, number);
  return text;
}

double GetMebibytes() { return static_cast<double>(mallinfo2().uordblks) / (1 << 20); }

void QueueOurs(benchmark::State& state) {
  for (auto _ : state) {
    const double before = GetMebibytes();
    couch::ChangeQueue queue;
    for (uint64 i = 0; i < sChanges; ++i) {
      couch::ChangeRecord change;
      change.id = couch::DocumentId(IdOf(i, state.range(0)));
      change.setSeq(i);
      const couch::ChangeQueue::Insertion found =
          queue.insert(std::move(change), queue.end(), couch::ChangeQueue::IM_Move);
      found.element->setSeq(i);
    }
    state.counters["MiB"] = GetMebibytes() - before;
    couch::ChangeQueue::List out;
    while (!queue.empty()) queue.popFront(out);
    benchmark::DoNotOptimize(out);
  }
}

/// What one would write without the queue: the same record, but with a string for its id.
struct PlainChange {
  string id;
  couch::CdbRev rev;
  uint64 seq = 0;
  couch::ChangeAction action = couch::CA_Pending;
  uint64 commandBytes = 0;
  bytes body;
};

void QueueOfListAndMap(benchmark::State& state) {
  using List = std::list<PlainChange>;
  for (auto _ : state) {
    const double before = GetMebibytes();
    List order;
    map<string, List::iterator> places;
    for (uint64 i = 0; i < sChanges; ++i) {
      const string id = IdOf(i, state.range(0));
      const auto [place, isNew] = places.try_emplace(id);
      if (isNew) {
        order.emplace_back().id = id;
        place->second = std::prev(order.end());
      } else {
        order.splice(order.end(), order, place->second);
      }
      place->second->seq = i;
    }
    state.counters["MiB"] = GetMebibytes() - before;
    List out;
    while (!order.empty()) {
      places.erase(order.front().id);
      out.splice(out.end(), order, order.begin());
    }
    benchmark::DoNotOptimize(out);
  }
}

void EachSize(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("id_bytes")->Arg(14)->Arg(32)->Unit(benchmark::kMillisecond);
}

BENCHMARK(QueueOurs)->Apply(EachSize);
BENCHMARK(QueueOfListAndMap)->Apply(EachSize);

}  // namespace

}  // namespace qx::bench
