// Documents per second of the getters beside bare libcurl that posts the same requests to the same server: once
// throwing the answers away, once reading them with the library's JSON reader. Arguments: threads, and how long the
// server thinks about each request in milliseconds.
#include "benchmarks/parallel/BareClient.h"
#include "benchmarks/support/StubServer.h"
#include "netweft/base/json/Json2Variant.h"
#include "netweft/couch/MultiThreadedDocumentGetter.h"
#include "netweft/elasticsearch/MultiThreadedDocumentGetter.h"
#include "netweft/elasticsearch/SearchResultParserInterface.h"
#include "netweft/frame/Netweft.h"

#include <benchmark/benchmark.h>

#include <atomic>

namespace qx::bench {

namespace {

constexpr uint64 sDocuments = 20'000;
constexpr unsigned int sBatch = 100;

const vector<string>& Ids() {
  static const vector<string> sIds = [] {
    vector<string> ids;
    for (uint64 i = 0; i < sDocuments; ++i) ids.push_back("id" + std::to_string(1'000'000 + i));
    return ids;
  }();
  return sIds;
}

string Quoted(const string* first, const string* last) {
  string list;
  for (; first != last; ++first) list += (list.empty() ? "\"" : ",\"") + *first + "\"";
  return list;
}

string AllDocsBody(const string* first, const string* last) { return "{\"keys\":[" + Quoted(first, last) + "]}"; }

string SearchBody(const string* first, const string* last) {
  return R"({"query":{"bool":{"should":[{"bool":{"must":{"terms":{"id":[)" + Quoted(first, last) +
         R"(]}}}}]}},"size":)" + std::to_string(last - first) + "}";
}

string AnswerAllDocs(const string& body) {
  string rows;
  for (const string& id : ReadIds(body)) {
    rows += (rows.empty() ? "" : ",") + (R"({"id":")" + id) + R"(","key":")" + id +
            R"(","value":{"rev":"1-x"},"doc":{)" + DocumentMembers(id) + "}}";
  }
  return R"({"total_rows":20000,"offset":0,"rows":[)" + rows + "]}";
}

string AnswerSearch(const string& body) {
  string hits;
  for (const string& id : ReadIds(body)) {
    hits += (hits.empty() ? "" : ",") + (R"({"_index":"i","_type":"_doc","_id":")" + id) +
            R"(","_score":1.0,"_source":{)" + DocumentMembers(id) + "}}";
  }
  return R"({"took":1,"hits":{"total":100,"hits":[)" + hits + "]}}";
}

void CountDocuments(benchmark::State& state, uint64 perRound) {
  if (perRound != sDocuments) state.SkipWithError("documents are missing");
  state.counters["docs"] =
      benchmark::Counter(static_cast<double>(sDocuments), benchmark::Counter::kIsIterationInvariantRate);
}

unsigned int Threads(const benchmark::State& state) { return static_cast<unsigned int>(state.range(0)); }

void Bare(benchmark::State& state, const StubServer::Answer& answer, const char* path,
          string (*makeBody)(const string*, const string*), void (*read)(const string& answer)) {
  StubServer server(answer, static_cast<int>(state.range(1)));
  uint64 good = 0;
  for (auto _ : state) {
    good = PostBatches(server.getUrl() + path, Ids(), Threads(state), sBatch, makeBody, read);
  }
  CountDocuments(state, good * sBatch);
}

void ReadTree(const string& text) {
  qxVariantMapImpl map;
  benchmark::DoNotOptimize(json::Json2Variant::Convert(text.data(), text.size(), map));
}

class HitCounter final : public elasticsearch::SearchResultParserInterface {
 public:
  uint64 hits = 0;

 private:
  void onHit(string&, string&, string&, string&, string&) override { ++hits; }
};

void ReadHits(const string& text) {
  HitCounter counter;
  counter.addData(text.data(), text.size());
  benchmark::DoNotOptimize(counter.hits);
}

void CouchBare(benchmark::State& state) {
  Bare(state, AnswerAllDocs, "/db/_all_docs?include_docs=true", AllDocsBody, nullptr);
}
void CouchBareReadingJson(benchmark::State& state) {
  Bare(state, AnswerAllDocs, "/db/_all_docs?include_docs=true", AllDocsBody, ReadTree);
}
void SearchBare(benchmark::State& state) { Bare(state, AnswerSearch, "/_search", SearchBody, nullptr); }

void SearchBareReadingHits(benchmark::State& state) { Bare(state, AnswerSearch, "/_search", SearchBody, ReadHits); }

void CouchGetter(benchmark::State& state) {
  using Getter = couch::MultiThreadedDocumentGetter;
  StubServer server(AnswerAllDocs, static_cast<int>(state.range(1)));
  const couch::CouchConnectionParameters parameters = Url(server.getUrl());
  std::atomic<uint64> found{0};
  const Getter::DocumentCallback onDocument = [](Getter&, const string&, qxVariantMapImpl&, const string&,
                                                 Getter::DocumentResult result, void* count, void*) {
    if (result == Getter::DR_Found) ++*static_cast<std::atomic<uint64>*>(count);
  };
  for (auto _ : state) {
    found = 0;
    Getter getter(parameters, "db", onDocument, &found, nullptr, nullptr, Threads(state), sBatch, Getter::DC_Document);
    getter.addJobs(Ids());
    getter.waitUntilAllJobsAreDone(nullptr);
  }
  CountDocuments(state, found);
}

void SearchGetter(benchmark::State& state) {
  using Getter = elasticsearch::MultiThreadedDocumentGetter;
  StubServer server(AnswerSearch, static_cast<int>(state.range(1)));
  const elasticsearch::ESConnectionParameters parameters = Url(server.getUrl());
  std::atomic<uint64> found{0};
  const Getter::DocumentCallback onDocument = [](Getter&, const string&, const string&, const string&,
                                                 Getter::DocumentResult result, void* count, void*) {
    if (result == Getter::DR_Found) ++*static_cast<std::atomic<uint64>*>(count);
  };
  map<string, string> jobs;
  for (const string& id : Ids()) jobs[id] = "";
  for (auto _ : state) {
    found = 0;
    Getter getter(parameters, onDocument, &found, nullptr, nullptr, Threads(state), sBatch, qxVariant());
    getter.addJobs(jobs);
    getter.waitUntilAllJobsAreDone(nullptr, nullptr);
  }
  CountDocuments(state, found);
}

const bool sInitialized = [] {
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
  return true;
}();

void EachCase(benchmark::internal::Benchmark* benchmark) {
  for (const int thinkMs : {0, 5, 20}) {
    for (const int threads : {1, 2, 4}) benchmark->Args({threads, thinkMs});
  }
  benchmark->ArgNames({"threads", "think_ms"})->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(CouchBare)->Apply(EachCase);
BENCHMARK(CouchBareReadingJson)->Apply(EachCase);
BENCHMARK(CouchGetter)->Apply(EachCase);
BENCHMARK(SearchBare)->Apply(EachCase);
BENCHMARK(SearchBareReadingHits)->Apply(EachCase);
BENCHMARK(SearchGetter)->Apply(EachCase);

}  // namespace

}  // namespace qx::bench
