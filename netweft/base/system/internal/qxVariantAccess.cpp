#include "netweft/base/system/internal/qxVariantAccess.h"

#include "netweft/base/system/internal/qxVariantWalk.h"

namespace qx {

void qxVariantAccess::SetNumber(qxVariant& value, string literal) {
  qxVariant number(std::move(literal));
  number.mType = qxVariant::VT_Number;
  number.swap(value);
}

qxVariant qxVariantAccess::MakeNumber(string literal) {
  qxVariant number;
  SetNumber(number, std::move(literal));
  return number;
}

void qxVariantAccess::SetNull(qxVariant& value) noexcept {
  Teardown::Destroy(value);
  value.mType = qxVariant::VT_Null;
}

void qxVariantAccess::SetMap(qxVariant& value, qxVariantMapImpl&& map) { value = qxVariant(std::move(map)); }

void qxVariantAccess::SetList(qxVariant& value, qxVariantListImpl&& list) { value = qxVariant(std::move(list)); }

}  // namespace qx
