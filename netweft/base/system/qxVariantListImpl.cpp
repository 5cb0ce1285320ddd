#include "netweft/base/system/qxVariantListImpl.h"

#include "netweft/base/system/internal/qxVariantWalk.h"

namespace qx {

qxVariant::qxVariantListImpl::qxVariantListImpl(const qxVariantListImpl& other) {
  qxVariantAccess::Copier::Copy(*this, other);
}

/// Each element frees all below it without recursion, so they may go as they are.
qxVariant::qxVariantListImpl::~qxVariantListImpl() = default;

qxVariantListImpl& qxVariant::qxVariantListImpl::operator=(const qxVariantListImpl& other) {
  qxVariantListImpl copy(other);
  swap(copy);
  return *this;
}

/// `other` may be a piece of this list, so it is taken out before the old content dies.
qxVariantListImpl& qxVariant::qxVariantListImpl::operator=(qxVariantListImpl&& other) noexcept {
  qxVariantListImpl taken(std::move(other));
  swap(taken);
  return *this;
}

bool qxVariant::qxVariantListImpl::operator==(const qxVariantListImpl& other) const {
  return qxVariantAccess::Comparer::AreEqual(*this, other);
}

void qxVariant::qxVariantListImpl::clear() noexcept { mElements.clear(); }

}  // namespace qx
