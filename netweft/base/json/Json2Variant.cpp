#include "netweft/base/json/Json2Variant.h"

#include "netweft/base/json/internal/JsonOutput.h"
#include "netweft/base/json/internal/JsonReader.h"
#include "netweft/base/json/internal/JsonTokens.h"
#include "netweft/base/json/internal/JsonWriter.h"
#include "netweft/base/system/qxIoDeviceByteContainer.h"

namespace qx::json {

namespace {

/// A thread keeps its scanner for texts up to this size, and makes one of its own for a larger text. A scanner takes up
/// to eight times the size of its text.
constexpr uint64 sKeptTextSize = uint64{256} * 1024;

template <class Container>
bool ReadWith(JsonTokens& tokens, std::string_view text, Container& out) {
  if (!tokens.scan(text)) return false;
  // The text may stand in `out` itself, but the scanner has its own copy of it by now.
  out.clear();
  return JsonReader(tokens).read(out);
}

template <class Container>
bool Read(const char* text, uint64 n, Container& out) {
  if (text == nullptr) return false;
  const std::string_view view(text, n);
  if (n > sKeptTextSize) {
    JsonTokens tokens;
    return ReadWith(tokens, view, out);
  }
  thread_local JsonTokens tokens;
  return ReadWith(tokens, view, out);
}

template <class Container>
bool WriteString(const Container& container, string& out, bool pretty) {
  string text;
  JsonOutput output(text);
  JsonWriter(output, pretty).write(container);
  output.flush();
  out = std::move(text);
  return true;
}

}  // namespace

bool Json2Variant::Convert(const char* text, uint64 n, qxVariantMapImpl& out) { return Read(text, n, out); }

bool Json2Variant::Convert(const char* text, uint64 n, qxVariantListImpl& out) { return Read(text, n, out); }

bool Json2Variant::Convert(const qxVariantMapImpl& map, string& out, bool pretty) {
  return WriteString(map, out, pretty);
}

bool Json2Variant::Convert(const qxVariantListImpl& list, string& out, bool pretty) {
  return WriteString(list, out, pretty);
}

bool Json2Variant::Convert(const qxVariantMapImpl& map, bytes& out, bool pretty) {
  out.clear();
  qxIoDeviceByteContainer<bytes> device(&out);
  return Convert(map, &device, pretty);
}

bool Json2Variant::Convert(const qxVariantMapImpl& map, qxIoDevice* out, bool pretty) {
  JsonOutput output(out);
  JsonWriter(output, pretty).write(map);
  return output.flush();
}

}  // namespace qx::json
