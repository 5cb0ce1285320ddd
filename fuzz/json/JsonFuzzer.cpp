#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/json/JsonStreamer.h"
#include "tests/base/JsonOracle.h"

/// Any bytes as a JSON text, and as a text to be escaped.
namespace qx::fuzz {
namespace {

using json::Json2Variant;
using json::JsonStreamer;

template <class Container>
string Write(const Container& container, bool pretty) {
  string text;
  Require(Json2Variant::Convert(container, text, pretty), "what was read can be written");
  return text;
}

template <class Container>
void CheckRoundTrip(const Container& container, const string& written, bool pretty) {
  const string source = Write(container, pretty);
  Container again;
  Require(Json2Variant::Convert(source.data(), source.size(), again), "what was written can be read");
  Require(again == container, "what was written is read as an equal value");
  Require(Write(again, false) == written, "what was read again is written the same way");
}

template <class Container>
bool Read(const string& text) {
  Container container;
  if (!Json2Variant::Convert(text.data(), text.size(), container)) return false;
  const string written = Write(container, false);
  Require(jsonoracle::IsValid(written), "what is written is JSON");
  Require(written.size() <= jsonoracle::Compacted(text).size(), "what is written is no longer than what was read");
  for (const bool pretty : {false, true}) CheckRoundTrip(container, written, pretty);
  return true;
}

void CheckEscaping(const string& text) {
  const string escaped = JsonStreamer::ConvertToJsonString(text);
  Require(JsonStreamer::ConvertToJsonStringSize(text) == escaped.size(), "the size of an escaped text is known before");
  const string list = "[\"" + escaped + "\"]";
  qxVariantListImpl read;
  Require(Json2Variant::Convert(list.data(), list.size(), read), "an escaped text is a JSON string");
  Require(JsonStreamer::ConvertToJsonString(read[0].getString()) == escaped, "it is escaped the same way again");
}

void CheckText(std::string_view bytes) {
  const string text(bytes);
  const bool isRead = Read<qxVariantMapImpl>(text) || Read<qxVariantListImpl>(text);
  Require(isRead == jsonoracle::IsValid(text), "exactly what is JSON is read");
  CheckEscaping(text);
}

const Target sTarget("json", CheckText);

}  // namespace
}  // namespace qx::fuzz
