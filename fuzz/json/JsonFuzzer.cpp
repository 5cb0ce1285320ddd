#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/json/JsonStreamer.h"
#include "tests/base/JsonOracle.h"

#include <cstdint>
#include <cstdlib>

/// Any bytes as a JSON text, and as a text to be escaped. Run: json_fuzzer <new corpus folder> fuzz/json/corpus
namespace {

using qx::json::Json2Variant;
using qx::json::JsonStreamer;

void Demand(bool holds) {
  if (!holds) std::abort();
}

template <class Container>
std::string Written(const Container& container, bool pretty) {
  std::string text;
  Demand(Json2Variant::Convert(container, text, pretty));
  return text;
}

/// What was read is written no longer than its own compact form, reads back as an equal value, and is written the same
/// way again.
template <class Container>
bool ReadsAndWrites(const std::string& text) {
  Container container;
  if (!Json2Variant::Convert(text.data(), text.size(), container)) return false;
  const std::string written = Written(container, false);
  Demand(written.size() <= jsonoracle::Compacted(text).size());
  Demand(jsonoracle::IsValid(written));
  for (const bool pretty : {false, true}) {
    const std::string source = Written(container, pretty);
    Container again;
    Demand(Json2Variant::Convert(source.data(), source.size(), again));
    Demand(again == container);
    Demand(Written(again, false) == written);
  }
  return true;
}

/// What is escaped is a valid string that is escaped the same way when it has been read.
void Escapes(const std::string& text) {
  const std::string escaped = JsonStreamer::ConvertToJsonString(text);
  Demand(JsonStreamer::ConvertToJsonStringSize(text) == escaped.size());
  const std::string list = "[\"" + escaped + "\"]";
  qx::qxVariantListImpl read;
  Demand(Json2Variant::Convert(list.data(), list.size(), read));
  Demand(JsonStreamer::ConvertToJsonString(read[0].getString()) == escaped);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(data, data + size);
  const bool read = ReadsAndWrites<qx::qxVariantMapImpl>(text) || ReadsAndWrites<qx::qxVariantListImpl>(text);
  Demand(read == jsonoracle::IsValid(text));
  Escapes(text);
  return 0;
}
