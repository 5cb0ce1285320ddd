#include "Documents.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/json/JsonStreamer.h"

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <utility>

/// A tree to JSON text: ours from variants, the others' from their own trees.
namespace {

void CountBytes(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

qx::qxVariantMapImpl Read(const std::string& text) {
  qx::qxVariantMapImpl map;
  qx::json::Json2Variant::Convert(text.data(), text.size(), map);
  return map;
}

void WriteOurs(benchmark::State& state, const std::string& source) {
  const qx::qxVariantMapImpl map = Read(source);
  std::string text;
  for (auto _ : state) benchmark::DoNotOptimize(qx::json::Json2Variant::Convert(map, text, false));
  CountBytes(state, source);
}

void WriteRapid(benchmark::State& state, const std::string& source) {
  rapidjson::Document document;
  document.Parse(source.data(), source.size());
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    benchmark::DoNotOptimize(document.Accept(writer));
  }
  CountBytes(state, source);
}

void WriteNlohmann(benchmark::State& state, const std::string& source) {
  const nlohmann::json document = nlohmann::json::parse(source);
  for (auto _ : state) benchmark::DoNotOptimize(document.dump());
  CountBytes(state, source);
}

void CopyOurs(benchmark::State& state, const std::string& source) {
  const qx::qxVariantMapImpl map = Read(source);
  for (auto _ : state) {
    const qx::qxVariantMapImpl copy(map);
    benchmark::DoNotOptimize(copy.size());
  }
  CountBytes(state, source);
}

void CopyNlohmann(benchmark::State& state, const std::string& source) {
  const nlohmann::json tree = nlohmann::json::parse(source);
  for (auto _ : state) {
    const nlohmann::json copy(tree);
    benchmark::DoNotOptimize(copy.size());
  }
  CountBytes(state, source);
}

void EscapedSize(benchmark::State& state, const std::string& source) {
  for (auto _ : state) benchmark::DoNotOptimize(qx::json::JsonStreamer::ConvertToJsonStringSize(source));
  CountBytes(state, source);
}

constexpr std::pair<const char*, void (*)(benchmark::State&, const std::string&)> sBenchmarks[] = {
    {"WriteOurs", WriteOurs}, {"WriteRapid", WriteRapid},     {"WriteNlohmann", WriteNlohmann},
    {"CopyOurs", CopyOurs},   {"CopyNlohmann", CopyNlohmann}, {"EscapedSize", EscapedSize},
};

const bool sRegistered = [] {
  for (const auto& [name, text] : documents::All()) {
    for (const auto& [what, run] : sBenchmarks) {
      benchmark::RegisterBenchmark((std::string(what) + "/" + name).c_str(), run, std::cref(text));
    }
  }
  return true;
}();

}  // namespace
