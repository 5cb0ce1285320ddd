#include "tests/base/JsonSupport.h"

#include "netweft/base/json/Json2Variant.h"

#include <algorithm>

namespace qx::json {

namespace {

template <class Container>
std::optional<string> RewrittenAs(std::string_view text) {
  const unique_ptr<char[]> exact(new char[text.size()]);
  std::copy(text.begin(), text.end(), exact.get());
  Container container;
  if (!Json2Variant::Convert(exact.get(), text.size(), container)) return {};
  string written;
  Json2Variant::Convert(container, written, false);
  return written;
}

}  // namespace

std::optional<string> Rewritten(std::string_view text) {
  std::optional<string> written = RewrittenAs<qxVariantMapImpl>(text);
  return written ? written : RewrittenAs<qxVariantListImpl>(text);
}

std::optional<qxVariant> ReadElement(std::string_view element) {
  const string text = "[" + string(element) + "]";
  qxVariantListImpl list;
  if (!Json2Variant::Convert(text.data(), text.size(), list) || list.size() != 1) return {};
  return list[0];
}

std::optional<string> RewrittenElement(std::string_view element) {
  const std::optional<string> written = Rewritten("[" + string(element) + "]");
  if (!written) return {};
  return written->substr(1, written->size() - 2);
}

string Repeated(std::string_view text, size_t count) {
  string all;
  all.reserve(text.size() * count);
  for (size_t i = 0; i < count; ++i) all += text;
  return all;
}

}  // namespace qx::json
