// Reads one text again and again into a tree that is freed: ours, or RapidJSON's own document. scripts/bench counts
// the instructions of both. Prints the bytes that were read.
//   read_loop ours|rapid DOCUMENT COUNT
#include "Documents.h"

#include "netweft/base/json/Json2Variant.h"

#include <rapidjson/document.h>

#include <iostream>

namespace {

bool ReadOurs(const std::string& text) {
  qx::qxVariantMapImpl map;
  return qx::json::Json2Variant::Convert(text.data(), text.size(), map);
}

bool ReadRapid(const std::string& text) {
  rapidjson::Document document;
  return !document.Parse<rapidjson::kParseValidateEncodingFlag>(text.data(), text.size()).HasParseError();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const auto read = std::string(argv[1]) == "ours" ? ReadOurs : ReadRapid;
  const std::string& text = documents::Get(argv[2]);
  const unsigned long count = std::stoul(argv[3]);
  for (unsigned long i = 0; i < count; ++i) {
    if (!read(text)) return 1;
  }
  std::cout << text.size() * count << '\n';
}
