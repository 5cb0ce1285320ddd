#include "netweft/river/internal/MappingComparison.h"

namespace qx::couch {

namespace {

using Iterator = qxVariantMapImpl::const_iterator;

/// What one pair of steps through two sorted maps has met.
enum class Meeting { BothEnded, OnlyStored, OnlyWanted, Same };

Meeting Meet(Iterator stored, Iterator storedEnd, Iterator wanted, Iterator wantedEnd) {
  if (stored == storedEnd) return wanted == wantedEnd ? Meeting::BothEnded : Meeting::OnlyWanted;
  if (wanted == wantedEnd || stored->first < wanted->first) return Meeting::OnlyStored;
  return wanted->first < stored->first ? Meeting::OnlyWanted : Meeting::Same;
}

bool IsAttribute(const string& key) { return key != "_meta" && key != "properties"; }

Iterator NextAttribute(Iterator it, Iterator end) {
  while (it != end && !IsAttribute(it->first)) ++it;
  return it;
}

bool Refuse(string& reason, string text) {
  reason = std::move(text);
  return false;
}

bool CompareAttributes(const qxVariantMapImpl& stored, const qxVariantMapImpl& wanted, string& reason,
                       const string& path) {
  const auto refuse = [&](const string& key, const char* what) {
    return Refuse(reason, "property attribute '" + path + key + "' " + what);
  };
  Iterator old = NextAttribute(stored.begin(), stored.end());
  Iterator now = NextAttribute(wanted.begin(), wanted.end());
  for (;;) {
    switch (Meet(old, stored.end(), now, wanted.end())) {
      case Meeting::BothEnded: return true;
      case Meeting::OnlyStored: return refuse(old->first, "removed");
      case Meeting::OnlyWanted: return refuse(now->first, "added");
      case Meeting::Same:
        if (old->second != now->second) return refuse(old->first, "changed");
        old = NextAttribute(std::next(old), stored.end());
        now = NextAttribute(std::next(now), wanted.end());
    }
  }
}

bool ReadDynamic(const qxVariantMapImpl& mapping, bool inherited) {
  const Iterator it = mapping.find("dynamic");
  return it == mapping.end() ? inherited : it->second.toBool();
}

/// One branch of a mapping below its attributes.
struct Branch {
  bool storedDynamic;
  bool wantedDynamic;
  const string& path;
  string& reason;

  bool canGrow() const { return !storedDynamic && !wantedDynamic; }
  bool refuse(string text) const { return Refuse(reason, std::move(text)); }

  bool compareProperty(const string& key, const qxVariant& stored, const qxVariant& wanted,
                       qxVariantMapImpl& delta) const;
  bool compareProperties(const qxVariantMapImpl& stored, const qxVariantMapImpl& wanted, qxVariantMapImpl& delta) const;
};

qxVariant& EditProperty(qxVariantMapImpl& delta, const string& key) { return delta["properties"].editMap()[key]; }

bool Branch::compareProperty(const string& key, const qxVariant& stored, const qxVariant& wanted,
                             qxVariantMapImpl& delta) const {
  if (stored.getType() != qxVariant::VT_Map || wanted.getType() != qxVariant::VT_Map) {
    return refuse("invalid property object '" + path + key + "'");
  }
  qxVariantMapImpl subDelta;
  if (!compareMappings(stored.getMap(), wanted.getMap(), subDelta, reason, storedDynamic, wantedDynamic,
                       path + "properties/" + key + "/")) {
    return false;
  }
  if (!subDelta.empty()) EditProperty(delta, key) = std::move(subDelta);
  return true;
}

bool Branch::compareProperties(const qxVariantMapImpl& stored, const qxVariantMapImpl& wanted,
                               qxVariantMapImpl& delta) const {
  Iterator old = stored.begin();
  Iterator now = wanted.begin();
  for (;;) {
    switch (Meet(old, stored.end(), now, wanted.end())) {
      case Meeting::BothEnded: return true;
      case Meeting::OnlyStored: return refuse("property '" + path + old->first + "' removed");
      case Meeting::OnlyWanted:
        if (!canGrow()) return refuse("property '" + path + now->first + "' added into a dynamic branch");
        EditProperty(delta, now->first) = now->second;
        ++now;
        break;
      case Meeting::Same:
        if (!compareProperty(old->first, old->second, now->second, delta)) return false;
        ++old;
        ++now;
    }
  }
}

}  // namespace

bool compareMappings(const qxVariantMapImpl& stored, const qxVariantMapImpl& wanted, qxVariantMapImpl& delta,
                     string& reason, bool storedDynamic, bool wantedDynamic, const string& path) {
  if (!CompareAttributes(stored, wanted, reason, path)) return false;
  const Branch branch{ReadDynamic(stored, storedDynamic), ReadDynamic(wanted, wantedDynamic), path, reason};
  const Iterator old = stored.find("properties");
  const Iterator now = wanted.find("properties");
  if (old == stored.end() && now == wanted.end()) return true;
  if (now == wanted.end()) return branch.refuse("properties field removed from " + path);
  if (old == stored.end()) {
    if (!branch.canGrow()) return branch.refuse("entry '" + path + "properties' added into a dynamic branch");
    delta["properties"] = now->second;
    return true;
  }
  if (old->second.getType() != qxVariant::VT_Map || now->second.getType() != qxVariant::VT_Map) {
    return branch.refuse("bad properties field type " + path);
  }
  return branch.compareProperties(old->second.getMap(), now->second.getMap(), delta);
}

}  // namespace qx::couch
