#include "Documents.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/json/JsonStreamer.h"

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <nlohmann/json.hpp>

/// A tree to JSON text: ours from variants, the others' from their own trees.
namespace {

void CountBytes(benchmark::State& state) {
  const auto size = static_cast<int64_t>(documents::Typical().size());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size);
}

void WriteOurs(benchmark::State& state) {
  qx::qxVariantMapImpl map;
  qx::json::Json2Variant::Convert(documents::Typical().data(), documents::Typical().size(), map);
  std::string text;
  for (auto _ : state) benchmark::DoNotOptimize(qx::json::Json2Variant::Convert(map, text, false));
  CountBytes(state);
}
BENCHMARK(WriteOurs);

void WriteRapid(benchmark::State& state) {
  rapidjson::Document document;
  document.Parse(documents::Typical().data(), documents::Typical().size());
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    benchmark::DoNotOptimize(document.Accept(writer));
  }
  CountBytes(state);
}
BENCHMARK(WriteRapid);

void WriteNlohmann(benchmark::State& state) {
  const nlohmann::json document = nlohmann::json::parse(documents::Typical());
  for (auto _ : state) benchmark::DoNotOptimize(document.dump());
  CountBytes(state);
}
BENCHMARK(WriteNlohmann);

void CopyOurs(benchmark::State& state) {
  qx::qxVariantMapImpl map;
  qx::json::Json2Variant::Convert(documents::Typical().data(), documents::Typical().size(), map);
  for (auto _ : state) {
    const qx::qxVariantMapImpl copy(map);
    benchmark::DoNotOptimize(copy.size());
  }
  CountBytes(state);
}
BENCHMARK(CopyOurs);

void CopyNlohmann(benchmark::State& state) {
  const nlohmann::json tree = nlohmann::json::parse(documents::Typical());
  for (auto _ : state) {
    const nlohmann::json copy(tree);
    benchmark::DoNotOptimize(copy.size());
  }
  CountBytes(state);
}
BENCHMARK(CopyNlohmann);

void EscapedSize(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(qx::json::JsonStreamer::ConvertToJsonStringSize(documents::Typical()));
  CountBytes(state);
}
BENCHMARK(EscapedSize);

}  // namespace
