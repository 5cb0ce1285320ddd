#pragma once

#include "netweft/base/system/qxVariant.h"

namespace qx {

/// A contiguous sequence of variants. Value semantics; destruction, copy and comparison use no recursion. A
/// reference to an element is valid until the list grows, shrinks or dies. No lock.
class NETWEFT_EXPORT qxVariant::qxVariantListImpl {
 public:
  /// What stands behind it, and its iterators, which are those of a vector.
  using Elements = std::vector<qxVariant>;
  using iterator = Elements::iterator;
  using const_iterator = Elements::const_iterator;

  qxVariantListImpl() = default;
  /// Copies are deep; what is moved from is left empty.
  qxVariantListImpl(const qxVariantListImpl& other);
  qxVariantListImpl(qxVariantListImpl&& other) noexcept = default;
  ~qxVariantListImpl();
  /// As the constructors. The old elements are destroyed.
  qxVariantListImpl& operator=(const qxVariantListImpl& other);
  qxVariantListImpl& operator=(qxVariantListImpl&& other) noexcept;

  /// Element by element, as `qxVariant` compares.
  bool operator==(const qxVariantListImpl& other) const;

  /// Appends a copy and returns the new element.
  qxVariant& push_back(const qxVariant& value) { return mElements.emplace_back(value); }
  qxVariant& push_back(qxVariant&& value) { return mElements.emplace_back(std::move(value)); }

  /// The list must not be empty.
  qxVariant& back() { return mElements.back(); }
  const qxVariant& back() const { return mElements.back(); }

  /// `index` must be below `size()`.
  const qxVariant& operator[](uint64 index) const { return mElements[static_cast<size_t>(index)]; }
  qxVariant& operator[](uint64 index) { return mElements[static_cast<size_t>(index)]; }

  /// The count of elements.
  uint64 size() const noexcept { return mElements.size(); }
  bool empty() const noexcept { return mElements.empty(); }
  /// Destroys all elements.
  void clear() noexcept;
  /// Exchanges the contents without a copy.
  void swap(qxVariantListImpl& other) noexcept { mElements.swap(other.mElements); }

  /// From the first element to behind the last.
  iterator begin() noexcept { return mElements.begin(); }
  iterator end() noexcept { return mElements.end(); }
  const_iterator begin() const noexcept { return mElements.begin(); }
  const_iterator end() const noexcept { return mElements.end(); }

 private:
  friend struct qxVariantAccess;

  Elements mElements;
};

}  // namespace qx
