#include "netweft/river/internal/IndexName.h"

#include "netweft/base/system/qxLogObject.h"

#include <algorithm>
#include <string_view>

namespace qx::couch {

namespace {

bool IsRefusedCharacter(char c) {
  const unsigned char byte = static_cast<unsigned char>(c);
  constexpr std::string_view refused = "*?,<>|\"\\#/";
  return byte <= 0x20 || byte == 0x7f || refused.find(c) != std::string_view::npos;
}

}  // namespace

bool IsConcreteIndexName(const string& indexName) {
  if (indexName.empty() || indexName == "." || indexName == "..") return false;
  constexpr std::string_view refusedAtFront = "_-+";
  if (refusedAtFront.find(indexName.front()) != std::string_view::npos) return false;
  return std::none_of(indexName.begin(), indexName.end(), IsRefusedCharacter);
}

bool RequireConcreteIndexName(const string& indexName) {
  if (IsConcreteIndexName(indexName)) return true;
  LogError() << "Index name '" << CutForLog(indexName) << "' is refused, it does not name one single index";
  return false;
}

}  // namespace qx::couch
