#include "netweft/base/system/EnumHelperInterface.h"

#include "netweft/base/system/internal/AsciiText.h"
#include "netweft/base/system/internal/NumberText.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"

#include <algorithm>

namespace qx {
namespace {

/// The value of a name; null when the table does not hold it.
const int* FindName(const EnumHelperInterface::NameTable& table, std::string_view name) {
  for (const auto& [value, names] : table) {
    if (std::find(names.begin(), names.end(), name) != names.end()) return &value;
  }
  return nullptr;
}

}  // namespace

EnumHelperInterface::~EnumHelperInterface() = default;

void EnumHelperInterface::__GetEnumToStringMap(NameTable& out, const string& declaration) {
  int64 next = 0;
  for (const string& piece : qxStringUtils::Split(declaration, ',', false)) {
    const size_t equals = piece.find('=');
    const string name(impl::Trimmed(std::string_view(piece).substr(0, equals)));
    if (name.empty()) continue;
    if (equals != string::npos) {
      next = impl::DecimalTextToInteger(std::string_view(piece).substr(equals + 1));
    }
    out[static_cast<int>(next++)].push_back(name);
  }
}

string EnumHelperInterface::toString() const {
  const auto names = mTable->find(mValue);
  if (names == mTable->end() || names->second.empty()) return qxStringUtils::fromInt(mValue, 1);
  return names->second.front();
}

bool EnumHelperInterface::isKnown() const { return mKnown; }

EnumHelperInterface::EnumHelperInterface(int value, const NameTable& table, const string& typeName)
    : mValue(value), mKnown(table.contains(value)), mTable(&table), mTypeName(&typeName) {}

EnumHelperInterface::EnumHelperInterface(const string& text, const NameTable& table, const string& typeName)
    : mValue(0), mKnown(false), mTable(&table), mTypeName(&typeName) {
  if (const int* value = FindName(table, impl::Trimmed(text))) {
    mValue = *value;
    mKnown = true;
    return;
  }
  LogWarning() << typeName << " has no value named \"" << CutForLog(text) << "\"";
}

}  // namespace qx
