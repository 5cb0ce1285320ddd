#pragma once

#include "netweft/base/system/qxVariant.h"

#include <functional>
#include <string_view>

namespace qx {

/// An ordered map from text to variant. Keys are unique and iterate in ascending order by bytes (first by the
/// common prefix, then the shorter key first), so JSON written from a map has its members in that order.
///
/// Value semantics; destruction, copy and comparison use no recursion. A reference to a value is valid until
/// its key is removed or the map is assigned to, cleared or destroyed. No lock.
class NETWEFT_EXPORT qxVariant::qxVariantMapImpl {
 public:
  /// What stands behind it, its pairs and its iterators, which are those of a `std::map`.
  using Tree = std::map<string, qxVariant, std::less<>>;
  using value_type = Tree::value_type;
  using iterator = Tree::iterator;
  using const_iterator = Tree::const_iterator;

  qxVariantMapImpl() = default;
  /// Copies are deep; what is moved from is left empty.
  qxVariantMapImpl(const qxVariantMapImpl& other);
  qxVariantMapImpl(qxVariantMapImpl&& other) noexcept = default;
  ~qxVariantMapImpl();
  /// As the constructors. The old values are destroyed.
  qxVariantMapImpl& operator=(const qxVariantMapImpl& other);
  qxVariantMapImpl& operator=(qxVariantMapImpl&& other) noexcept;

  /// Key by key, as `qxVariant` compares.
  bool operator==(const qxVariantMapImpl& other) const;

  /// Inserts an absent value when the key is not there.
  qxVariant& operator[](const string& key) { return mTree[key]; }

  /// Copy of the value, or of `def` when the key is not there.
  qxVariant getValue(const string& key, const qxVariant& def) const;

  /// Reference to the value; inserts `def` when the key is not there.
  qxVariant& editValue(const string& key, const qxVariant& def);

  /// Walks nested maps along `path` cut at `sep`. Copy of the value reached, or of `def` when a step is missing
  /// or a step on the way is not a map. An empty `path` is one step with the empty name.
  qxVariant getValuePath(const char* path, const qxVariant& def, char sep) const;

  /// The same walk without a copy: null when a step is missing. Valid as long as the value stands.
  const qxVariant* findValuePath(std::string_view path, char sep) const;

  /// Walks nested maps and makes each missing step a map; a step on the way that is not a map becomes one and
  /// loses what it held. The last step is made from `def` when missing. Reference to the last value.
  qxVariant& editValuePath(const char* path, const qxVariant& def, char sep);

  /// Typed reading: a missing key gives `def`, the expected tag gives the held value, any other tag is converted
  /// by `toInteger` or `toString`.
  int64 getInteger(const string& key, int64 def) const;
  string getString(const string& key, const string& def) const;

  /// Look a key up without making it.
  bool contains(std::string_view key) const { return mTree.find(key) != mTree.end(); }
  iterator find(std::string_view key) { return mTree.find(key); }
  const_iterator find(std::string_view key) const { return mTree.find(key); }

  /// True when a key was erased.
  bool remove(std::string_view key);

  /// Destroys all values.
  void clear() noexcept;
  /// Exchanges the contents without a copy.
  void swap(qxVariantMapImpl& other) noexcept { mTree.swap(other.mTree); }
  /// The count of keys.
  uint64 size() const noexcept { return mTree.size(); }
  bool empty() const noexcept { return mTree.empty(); }

  /// From the lowest key to behind the highest.
  iterator begin() noexcept { return mTree.begin(); }
  iterator end() noexcept { return mTree.end(); }
  const_iterator begin() const noexcept { return mTree.begin(); }
  const_iterator end() const noexcept { return mTree.end(); }

 private:
  friend struct qxVariantAccess;

  Tree mTree;
};

}  // namespace qx
