#include "netweft/base/system/internal/qxVariantWalk.h"

#include "netweft/base/system/internal/NumberText.h"

namespace qx {

using Teardown = qxVariantAccess::Teardown;

namespace {

/// The copier in whose hands a container's copy constructor is on this thread.
thread_local qxVariantAccess::Copier* sCopier = nullptr;

class CopierScope {
 public:
  explicit CopierScope(qxVariantAccess::Copier& copier) { sCopier = &copier; }
  CopierScope(const CopierScope&) = delete;
  CopierScope& operator=(const CopierScope&) = delete;
  ~CopierScope() { sCopier = nullptr; }
};

}  // namespace

void Teardown::MakeEmptyMap(qxVariant& absent) {
  absent.mPayload.map = std::make_unique<OwnedMap>().release();
  absent.mType = qxVariant::VT_Map;
}

void Teardown::MakeEmptyList(qxVariant& absent) {
  absent.mPayload.list = std::make_unique<OwnedList>().release();
  absent.mType = qxVariant::VT_List;
}

void Teardown::Destroy(qxVariant& value) noexcept {
  Teardown teardown;
  teardown.take(value);
  while (teardown.mMaps != nullptr || teardown.mLists != nullptr) {
    if (teardown.mMaps != nullptr) teardown.drainMap();
    if (teardown.mLists != nullptr) teardown.drainList();
  }
}

void Teardown::take(qxVariant& value) noexcept {
  switch (value.mType) {
    case qxVariant::VT_String:
    case qxVariant::VT_Number: unique_ptr<string>(value.mPayload.text).reset(); break;
    case qxVariant::VT_Map: {
      auto* map = static_cast<OwnedMap*>(value.mPayload.map);
      map->next = std::exchange(mMaps, map);
      break;
    }
    case qxVariant::VT_List: {
      auto* list = static_cast<OwnedList*>(value.mPayload.list);
      list->next = std::exchange(mLists, list);
      break;
    }
    default: break;
  }
  value.mType = qxVariant::VT_Absent;
  value.mPayload.integer = 0;
}

void Teardown::drainMap() noexcept {
  const unique_ptr<OwnedMap> map(std::exchange(mMaps, mMaps->next));
  for (auto& member : map->mTree) take(member.second);
}

void Teardown::drainList() noexcept {
  const unique_ptr<OwnedList> list(std::exchange(mLists, mLists->next));
  for (qxVariant& element : list->mElements) take(element);
}

void qxVariantAccess::Copier::Copy(qxVariant& absent, const qxVariant& from) {
  if (sCopier != nullptr) return sCopier->copyValue(absent, from);
  Copier copier;
  copier.copyValue(absent, from);
  copier.finish();
}

void qxVariantAccess::Copier::Copy(qxVariantMapImpl& empty, const qxVariantMapImpl& from) {
  Copier copier;
  copier.copyContainer(empty.mTree, from.mTree);
  copier.finish();
}

void qxVariantAccess::Copier::Copy(qxVariantListImpl& empty, const qxVariantListImpl& from) {
  Copier copier;
  copier.copyContainer(empty.mElements, from.mElements);
  copier.finish();
}

void qxVariantAccess::Copier::copyValue(qxVariant& absent, const qxVariant& from) {
  switch (from.mType) {
    case qxVariant::VT_String:
    case qxVariant::VT_Number:
      absent.mPayload.text = std::make_unique<string>(*from.mPayload.text).release();
      absent.mType = from.mType;
      break;
    case qxVariant::VT_Map:
      Teardown::MakeEmptyMap(absent);
      if (!from.mPayload.map->empty()) mMaps.emplace_back(&absent.mPayload.map->mTree, &from.mPayload.map->mTree);
      break;
    case qxVariant::VT_List:
      Teardown::MakeEmptyList(absent);
      if (!from.mPayload.list->empty()) {
        mLists.emplace_back(&absent.mPayload.list->mElements, &from.mPayload.list->mElements);
      }
      break;
    default:
      absent.mPayload = from.mPayload;
      absent.mType = from.mType;
      break;
  }
}

template <class Container>
void qxVariantAccess::Copier::copyContainer(Container& empty, const Container& from) {
  const CopierScope scope(*this);
  Container copy(from);
  empty.swap(copy);
}

void qxVariantAccess::Copier::finish() {
  while (!mMaps.empty() || !mLists.empty()) {
    if (!mMaps.empty()) {
      const auto [to, from] = mMaps.back();
      mMaps.pop_back();
      copyContainer(*to, *from);
    }
    if (!mLists.empty()) {
      const auto [to, from] = mLists.back();
      mLists.pop_back();
      copyContainer(*to, *from);
    }
  }
}

bool qxVariantAccess::Comparer::AreEqual(const qxVariant& a, const qxVariant& b) {
  Comparer comparer;
  return comparer.compareValues(a, b) && comparer.finish();
}

bool qxVariantAccess::Comparer::AreEqual(const qxVariantMapImpl& a, const qxVariantMapImpl& b) {
  Comparer comparer;
  return comparer.compareMembers(a.mTree, b.mTree) && comparer.finish();
}

bool qxVariantAccess::Comparer::AreEqual(const qxVariantListImpl& a, const qxVariantListImpl& b) {
  Comparer comparer;
  return comparer.compareElements(a.mElements, b.mElements) && comparer.finish();
}

bool qxVariantAccess::Comparer::compareValues(const qxVariant& a, const qxVariant& b) {
  if (IsNumber(a) && IsNumber(b)) return AreNumbersEqual(a, b);
  if (a.mType != b.mType) return false;
  switch (a.mType) {
    case qxVariant::VT_String: return *a.mPayload.text == *b.mPayload.text;
    case qxVariant::VT_Bool: return a.mPayload.integer == b.mPayload.integer;
    case qxVariant::VT_Map: mMaps.emplace_back(&a.mPayload.map->mTree, &b.mPayload.map->mTree); return true;
    case qxVariant::VT_List: mLists.emplace_back(&a.mPayload.list->mElements, &b.mPayload.list->mElements); return true;
    default: return true;
  }
}

bool qxVariantAccess::Comparer::compareMembers(const Tree& a, const Tree& b) {
  if (a.size() != b.size()) return false;
  for (auto left = a.begin(), right = b.begin(); left != a.end(); ++left, ++right) {
    if (left->first != right->first || !compareValues(left->second, right->second)) return false;
  }
  return true;
}

bool qxVariantAccess::Comparer::compareElements(const Elements& a, const Elements& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (!compareValues(a[i], b[i])) return false;
  }
  return true;
}

bool qxVariantAccess::Comparer::finish() {
  while (!mMaps.empty() || !mLists.empty()) {
    if (!mMaps.empty()) {
      const auto [a, b] = mMaps.back();
      mMaps.pop_back();
      if (!compareMembers(*a, *b)) return false;
    }
    if (!mLists.empty()) {
      const auto [a, b] = mLists.back();
      mLists.pop_back();
      if (!compareElements(*a, *b)) return false;
    }
  }
  return true;
}

bool qxVariantAccess::Comparer::IsNumber(const qxVariant& value) noexcept {
  return value.mType == qxVariant::VT_Integer || value.mType == qxVariant::VT_Double ||
         value.mType == qxVariant::VT_Number;
}

bool qxVariantAccess::Comparer::AreNumbersEqual(const qxVariant& a, const qxVariant& b) noexcept {
  if (a.mType == b.mType) {
    if (a.mType == qxVariant::VT_Integer) return a.mPayload.integer == b.mPayload.integer;
    if (a.mType == qxVariant::VT_Number && *a.mPayload.text == *b.mPayload.text) return true;
  }
  const double left = ToDouble(a);
  const double right = ToDouble(b);
  return left <= right && left >= right;
}

double qxVariantAccess::Comparer::ToDouble(const qxVariant& number) noexcept {
  switch (number.mType) {
    case qxVariant::VT_Integer: return static_cast<double>(number.mPayload.integer);
    case qxVariant::VT_Double: return number.mPayload.real;
    default: return impl::LiteralToDouble(*number.mPayload.text);
  }
}

}  // namespace qx
