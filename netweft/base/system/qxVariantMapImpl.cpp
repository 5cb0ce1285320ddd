#include "netweft/base/system/qxVariantMapImpl.h"

#include "netweft/base/system/internal/qxVariantWalk.h"

namespace qx {
namespace {

/// Cuts the next step off `path`; `last` tells that it was the last one.
std::string_view NextStep(std::string_view& path, char sep, bool& last) {
  const size_t cut = path.find(sep);
  const std::string_view step = path.substr(0, cut);
  last = cut == std::string_view::npos;
  path.remove_prefix(last ? path.size() : cut + 1);
  return step;
}

std::string_view PathOf(const char* path) { return path != nullptr ? path : ""; }

}  // namespace

qxVariant::qxVariantMapImpl::qxVariantMapImpl(const qxVariantMapImpl& other) {
  qxVariantAccess::Copier::Copy(*this, other);
}

/// Each value frees all below it without recursion, so the tree may go as it is.
qxVariant::qxVariantMapImpl::~qxVariantMapImpl() = default;

qxVariantMapImpl& qxVariant::qxVariantMapImpl::operator=(const qxVariantMapImpl& other) {
  qxVariantMapImpl copy(other);
  swap(copy);
  return *this;
}

/// `other` may be a piece of this map, so it is taken out before the old content dies.
qxVariantMapImpl& qxVariant::qxVariantMapImpl::operator=(qxVariantMapImpl&& other) noexcept {
  qxVariantMapImpl taken(std::move(other));
  swap(taken);
  return *this;
}

bool qxVariant::qxVariantMapImpl::operator==(const qxVariantMapImpl& other) const {
  return qxVariantAccess::Comparer::AreEqual(*this, other);
}

qxVariant qxVariant::qxVariantMapImpl::getValue(const string& key, const qxVariant& def) const {
  const auto member = mTree.find(key);
  return member != mTree.end() ? member->second : def;
}

qxVariant& qxVariant::qxVariantMapImpl::editValue(const string& key, const qxVariant& def) {
  return mTree.try_emplace(key, def).first->second;
}

qxVariant qxVariant::qxVariantMapImpl::getValuePath(const char* path, const qxVariant& def, char sep) const {
  const qxVariant* value = findValuePath(PathOf(path), sep);
  return value != nullptr ? *value : def;
}

const qxVariant* qxVariant::qxVariantMapImpl::findValuePath(std::string_view path, char sep) const {
  const qxVariantMapImpl* map = this;
  for (;;) {
    bool last = false;
    const auto member = map->mTree.find(NextStep(path, sep, last));
    if (member == map->mTree.end()) return nullptr;
    if (last) return &member->second;
    if (member->second.getType() != VT_Map) return nullptr;
    map = &member->second.getMap();
  }
}

qxVariant& qxVariant::qxVariantMapImpl::editValuePath(const char* path, const qxVariant& def, char sep) {
  std::string_view rest = PathOf(path);
  if (const qxVariant* found = findValuePath(rest, sep)) return const_cast<qxVariant&>(*found);
  // `def` may be part of a step that is about to become a map.
  qxVariant value(def);
  qxVariantMapImpl* map = this;
  for (;;) {
    bool last = false;
    qxVariant& step = map->mTree[string(NextStep(rest, sep, last))];
    if (last) return step = std::move(value);
    map = &step.editMap();
  }
}

int64 qxVariant::qxVariantMapImpl::getInteger(const string& key, int64 def) const {
  const auto member = mTree.find(key);
  return member != mTree.end() ? member->second.toInteger() : def;
}

string qxVariant::qxVariantMapImpl::getString(const string& key, const string& def) const {
  const auto member = mTree.find(key);
  return member != mTree.end() ? member->second.toString() : def;
}

bool qxVariant::qxVariantMapImpl::remove(std::string_view key) {
  const auto member = mTree.find(key);
  if (member == mTree.end()) return false;
  mTree.erase(member);
  return true;
}

void qxVariant::qxVariantMapImpl::clear() noexcept { mTree.clear(); }

}  // namespace qx
