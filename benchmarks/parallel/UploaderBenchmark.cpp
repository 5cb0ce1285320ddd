// Documents per second of the uploader beside bare libcurl that posts the same batches to the same server: once with
// each thread making its own bodies, and once, as the uploader has it, with one producer that makes them all and hands
// them over, which costs a change of threads and another core's cache for each. A body is made by copying a ready one.
// Arguments: threads, and how long the server thinks about each post in milliseconds.
#include "benchmarks/parallel/BareClient.h"
#include "benchmarks/support/StubServer.h"
#include "netweft/couch/MultiThreadedDocumentUploader.h"

#include <benchmark/benchmark.h>

namespace qx::bench {

namespace {

constexpr uint64 sBatches = 200;
constexpr uint64 sBatchSize = 100;

const vector<string>& Bodies() {
  static const vector<string> sBodies = [] {
    vector<string> bodies;
    for (uint64 batch = 0; batch < sBatches; ++batch) {
      string docs;
      for (uint64 i = 0; i < sBatchSize; ++i) {
        docs += (docs.empty() ? "{" : ",{") + DocumentMembers(std::to_string(batch * sBatchSize + i)) + "}";
      }
      bodies.push_back("{\"docs\":[" + docs + "]}");
    }
    return bodies;
  }();
  return sBodies;
}

string AnswerNothing(const string&) { return "[]"; }

void CountDocuments(benchmark::State& state, bool isWhole) {
  if (!isWhole) state.SkipWithError("batches are missing");
  state.counters["docs"] =
      benchmark::Counter(static_cast<double>(sBatches * sBatchSize), benchmark::Counter::kIsIterationInvariantRate);
}

unsigned int Threads(const benchmark::State& state) { return static_cast<unsigned int>(state.range(0)); }

void UploadBare(benchmark::State& state) {
  StubServer server(AnswerNothing, static_cast<int>(state.range(1)), 201);
  const auto copyBody = [](const string* first, const string*) { return *first; };
  uint64 good = 0;
  for (auto _ : state) {
    good = PostBatches(server.getUrl() + "/db/_bulk_docs", Bodies(), Threads(state), 1, copyBody, nullptr);
  }
  CountDocuments(state, good == sBatches);
}

void UploadBareHandedOver(benchmark::State& state) {
  StubServer server(AnswerNothing, static_cast<int>(state.range(1)), 201);
  const auto copyBody = [](const string& body) { return body; };
  uint64 good = 0;
  for (auto _ : state) good = PostHandedOver(server.getUrl() + "/db/_bulk_docs", Bodies(), Threads(state), copyBody);
  CountDocuments(state, good == sBatches);
}

void Uploader(benchmark::State& state) {
  StubServer server(AnswerNothing, static_cast<int>(state.range(1)), 201);
  const couch::CouchConnectionParameters parameters = Url(server.getUrl());
  bool isWhole = true;
  for (auto _ : state) {
    couch::MultiThreadedDocumentUploader uploader(parameters, "db", Threads(state));
    for (string batch : Bodies()) isWhole = uploader.sendBatch(batch) && isWhole;
    isWhole = uploader.waitForEnd(nullptr) && isWhole;
  }
  CountDocuments(state, isWhole);
}

void EachCase(benchmark::internal::Benchmark* benchmark) {
  for (const int thinkMs : {0, 5, 20}) {
    for (const int threads : {1, 2, 4}) benchmark->Args({threads, thinkMs});
  }
  benchmark->ArgNames({"threads", "think_ms"})->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(UploadBare)->Apply(EachCase);
BENCHMARK(UploadBareHandedOver)->Apply(EachCase);
BENCHMARK(Uploader)->Apply(EachCase);

}  // namespace

}  // namespace qx::bench
