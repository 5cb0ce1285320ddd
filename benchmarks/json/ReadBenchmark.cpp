#include "Documents.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/internal/qxVariantAccess.h"

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <simdjson.h>
#include <nlohmann/json.hpp>

#include <charconv>
#include <cstring>
#include <functional>
#include <utility>

/// JSON text to a tree of variants, by our reader and by others over the same tree, and beside them the other
/// libraries' own trees. The others are not held to all of our rules: they reject numbers or surrogates that we must
/// keep.
namespace {

using qx::qxVariant;
using qx::qxVariantAccess;
using qx::qxVariantListImpl;
using qx::qxVariantMapImpl;

/// The tree is built and freed in each round, as for each document of a feed.
template <class ReadAndFree>
void Run(benchmark::State& state, const std::string& text, ReadAndFree read) {
  for (auto _ : state) {
    if (!read(text)) state.SkipWithError("not read");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

[[gnu::noinline]] bool ReadOurs(const std::string& text) {
  qxVariantMapImpl map;
  return qx::json::Json2Variant::Convert(text.data(), text.size(), map);
}

qxVariant& Insert(qxVariantMapImpl& map, std::string&& name) {
  auto& tree = qxVariantAccess::EditTree(map);
  return tree.try_emplace(tree.end(), std::move(name))->second;
}

/// RapidJSON's events into our tree.
class TreeBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TreeBuilder> {
 public:
  explicit TreeBuilder(qxVariant& root) { mSlots.push_back(&root); }

  bool Null() { return qxVariantAccess::SetNull(slot()), true; }
  bool Bool(bool value) { return slot() = value, true; }
  bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
    long long integer = 0;
    qxVariant& target = slot();
    if (std::from_chars(text, text + length, integer).ptr == text + length) {
      target = integer;
    } else {
      qxVariantAccess::SetNumber(target, std::string(text, length));
    }
    return true;
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    qxVariant& target = slot();
    target.setType(qxVariant::VT_String);
    target.editString().assign(text, length);
    return true;
  }
  bool StartObject() { return open(qxVariant::VT_Map); }
  bool StartArray() { return open(qxVariant::VT_List); }
  bool Key(const char* text, rapidjson::SizeType length, bool) {
    mSlots.push_back(&Insert(mContainers.back()->editMap(), std::string(text, length)));
    return true;
  }
  bool EndObject(rapidjson::SizeType) { return mContainers.pop_back(), true; }
  bool EndArray(rapidjson::SizeType) { return mContainers.pop_back(), true; }

 private:
  qxVariant& slot() {
    if (!mContainers.empty() && mContainers.back()->getType() == qxVariant::VT_List) {
      return mContainers.back()->editList().push_back(qxVariant());
    }
    qxVariant* target = mSlots.back();
    mSlots.pop_back();
    return *target;
  }
  bool open(qxVariant::Type type) {
    qxVariant& target = slot();
    target.setType(type);
    mContainers.push_back(&target);
    return true;
  }

  std::vector<qxVariant*> mSlots;
  std::vector<qxVariant*> mContainers;
};

[[gnu::noinline]] bool ReadRapidSax(const std::string& text) {
  qxVariant root;
  TreeBuilder builder(root);
  rapidjson::Reader reader;
  rapidjson::MemoryStream stream(text.data(), text.size());
  constexpr unsigned flags =
      rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag;
  return !reader.Parse<flags>(stream, builder).IsError();
}

[[gnu::noinline]] bool ReadRapidDom(const std::string& text) {
  rapidjson::Document document;
  return !document.Parse<rapidjson::kParseValidateEncodingFlag>(text.data(), text.size()).HasParseError();
}

[[gnu::noinline]] bool ReadNlohmann(const std::string& text) {
  return !nlohmann::json::parse(text, nullptr, false).is_discarded();
}

/// simdjson's own tree, which lives in the parser that is kept.
[[gnu::noinline]] bool ReadSimdDom(const std::string& text) {
  static simdjson::dom::parser parser;
  return parser.parse(text.data(), text.size(), true).error() == simdjson::SUCCESS;
}

void FromDom(const simdjson::dom::element& element, qxVariant& target);

void FromDomContainer(const simdjson::dom::element& element, qxVariant& target) {
  simdjson::dom::object object;
  simdjson::dom::array array;
  if (element.get(object) == simdjson::SUCCESS) {
    target.setType(qxVariant::VT_Map);
    for (const auto [name, value] : object) FromDom(value, Insert(target.editMap(), std::string(name)));
  } else if (element.get(array) == simdjson::SUCCESS) {
    target.setType(qxVariant::VT_List);
    for (const auto value : array) FromDom(value, target.editList().push_back(qxVariant()));
  }
}

void FromDom(const simdjson::dom::element& element, qxVariant& target) {
  switch (element.type()) {
    case simdjson::dom::element_type::STRING:
      target.setType(qxVariant::VT_String);
      target.editString() = element.get_string().value_unsafe();
      return;
    case simdjson::dom::element_type::INT64: target = element.get_int64().value_unsafe(); return;
    case simdjson::dom::element_type::UINT64: target = element.get_uint64().value_unsafe(); return;
    case simdjson::dom::element_type::DOUBLE: target = element.get_double().value_unsafe(); return;
    case simdjson::dom::element_type::BOOL: target = element.get_bool().value_unsafe(); return;
    case simdjson::dom::element_type::NULL_VALUE: qxVariantAccess::SetNull(target); return;
    default: FromDomContainer(element, target); return;
  }
}

[[gnu::noinline]] bool ReadSimdDomToTree(const std::string& text) {
  static simdjson::dom::parser parser;
  simdjson::dom::element element;
  if (parser.parse(text.data(), text.size(), true).get(element) != simdjson::SUCCESS) return false;
  qxVariant root;
  FromDom(element, root);
  return true;
}

bool FromOnDemand(simdjson::ondemand::value value, qxVariant& target);

/// Numbers and strings by their raw text, as keeping a number's literal and a lone surrogate demands; a string here
/// without the search for escapes that the real reader adds.
bool ScalarFromOnDemand(simdjson::ondemand::value value, qxVariant& target) {
  std::string_view token = value.raw_json_token();
  while (static_cast<unsigned char>(token.back()) <= ' ') token.remove_suffix(1);
  if (token.front() == '"') {
    target.setType(qxVariant::VT_String);
    target.editString().assign(token.substr(1, token.size() - 2));
  } else if (token == "true" || token == "false") {
    target = token == "true";
  } else if (token == "null") {
    qxVariantAccess::SetNull(target);
  } else {
    long long integer = 0;
    if (std::from_chars(token.data(), token.data() + token.size(), integer).ptr == token.data() + token.size()) {
      target = integer;
    } else {
      qxVariantAccess::SetNumber(target, std::string(token));
    }
  }
  return true;
}

bool ObjectFromOnDemand(simdjson::ondemand::object object, qxVariantMapImpl& map) {
  for (auto entry : object) {
    simdjson::ondemand::field field;
    if (std::move(entry).get(field) != simdjson::SUCCESS) return false;
    const char* const key = field.key().raw();
    const char* const end = static_cast<const char*>(std::memchr(key, '"', 1000));
    if (!FromOnDemand(field.value(), Insert(map, std::string(key, end)))) return false;
  }
  return true;
}

bool FromOnDemand(simdjson::ondemand::value value, qxVariant& target) {
  const char first = value.raw_json_token().front();
  if (first == '{') {
    target.setType(qxVariant::VT_Map);
    return ObjectFromOnDemand(value.get_object().value_unsafe(), target.editMap());
  }
  if (first != '[') return ScalarFromOnDemand(value, target);
  target.setType(qxVariant::VT_List);
  for (auto entry : simdjson::ondemand::array(value.get_array().value_unsafe())) {
    simdjson::ondemand::value element;
    if (std::move(entry).get(element) != simdjson::SUCCESS) return false;
    if (!FromOnDemand(element, target.editList().push_back(qxVariant()))) return false;
  }
  return true;
}

[[gnu::noinline]] bool ReadOnDemandToTree(const std::string& text) {
  static simdjson::ondemand::parser parser;
  static std::vector<char> padded;
  if (padded.size() < text.size() + simdjson::SIMDJSON_PADDING) padded.resize(text.size() + simdjson::SIMDJSON_PADDING);
  std::memcpy(padded.data(), text.data(), text.size());
  simdjson::ondemand::document document;
  if (parser.iterate(padded.data(), text.size(), padded.size()).get(document) != simdjson::SUCCESS) return false;
  qxVariantMapImpl map;
  return ObjectFromOnDemand(document.get_object().value_unsafe(), map);
}

constexpr std::pair<const char*, bool (*)(const std::string&)> sReaders[] = {
    {"ReadOurs", ReadOurs},
    {"ReadOnDemandToTree", ReadOnDemandToTree},
    {"ReadSimdDomToTree", ReadSimdDomToTree},
    {"ReadRapidSax", ReadRapidSax},
    {"ReadSimdDom", ReadSimdDom},
    {"ReadRapidDom", ReadRapidDom},
    {"ReadNlohmann", ReadNlohmann},
};

const bool sRegistered = [] {
  for (const auto& [name, text] : documents::All()) {
    for (const auto& [reader, read] : sReaders) {
      benchmark::RegisterBenchmark((std::string(reader) + "/" + name).c_str(), Run<bool (*)(const std::string&)>,
                                   std::cref(text), read);
    }
  }
  return true;
}();

}  // namespace
