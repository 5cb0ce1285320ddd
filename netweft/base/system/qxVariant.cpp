#include "netweft/base/system/qxVariant.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/internal/AsciiText.h"
#include "netweft/base/system/internal/NoDestroy.h"
#include "netweft/base/system/internal/NumberText.h"
#include "netweft/base/system/internal/qxVariantWalk.h"
#include "netweft/base/system/qxStringUtils.h"

namespace qx {

static_assert(sizeof(qxVariant) == 16, "a tag and one word: documents hold millions of them");

namespace {

template <class T>
const T& EmptyValue() {
  static impl::NoDestroy<T> empty;
  return empty.get();
}

template <class Container>
string ToJson(const Container& container) {
  string text;
  json::Json2Variant::Convert(container, text, false);
  return text;
}

}  // namespace

qxVariant::qxVariant(const qxVariant& other) : qxVariant() { qxVariantAccess::Copier::Copy(*this, other); }

qxVariant::qxVariant(const char* text) : qxVariant(string(text != nullptr ? text : "")) {}

qxVariant::qxVariant(string text) : mType(VT_String) {
  mPayload.text = std::make_unique<string>(std::move(text)).release();
}

qxVariant::qxVariant(qxVariantMapImpl value) : qxVariant() {
  qxVariantAccess::Teardown::MakeEmptyMap(*this);
  mPayload.map->swap(value);
}

qxVariant::qxVariant(qxVariantListImpl value) : qxVariant() {
  qxVariantAccess::Teardown::MakeEmptyList(*this);
  mPayload.list->swap(value);
}

qxVariant& qxVariant::operator=(const qxVariant& other) {
  qxVariant copy(other);
  swap(copy);
  return *this;
}

/// `other` may be a piece of what is held here, so it is taken out before that dies.
qxVariant& qxVariant::operator=(qxVariant&& other) noexcept {
  qxVariant taken(std::move(other));
  swap(taken);
  return *this;
}

qxVariant& qxVariant::operator=(const char* text) { return *this = qxVariant(text); }

bool qxVariant::operator==(const qxVariant& other) const { return qxVariantAccess::Comparer::AreEqual(*this, other); }

void qxVariant::setType(Type type) {
  qxVariant value;
  switch (type) {
    case VT_Integer:
    case VT_Number: value = 0; break;
    case VT_Double: value = 0.0; break;
    case VT_String: value = string(); break;
    case VT_Bool: value = false; break;
    case VT_Null: qxVariantAccess::SetNull(value); break;
    case VT_Map: qxVariantAccess::Teardown::MakeEmptyMap(value); break;
    case VT_List: qxVariantAccess::Teardown::MakeEmptyList(value); break;
    default: break;
  }
  swap(value);
}

const string& qxVariant::getString() const noexcept {
  return mType == VT_String ? *mPayload.text : EmptyValue<string>();
}

const qxVariantMapImpl& qxVariant::getMap() const noexcept {
  return mType == VT_Map ? *mPayload.map : EmptyValue<qxVariantMapImpl>();
}

const qxVariantListImpl& qxVariant::getList() const noexcept {
  return mType == VT_List ? *mPayload.list : EmptyValue<qxVariantListImpl>();
}

string& qxVariant::editString() {
  if (mType != VT_String) setType(VT_String);
  return *mPayload.text;
}

qxVariantMapImpl& qxVariant::editMap() {
  if (mType != VT_Map) setType(VT_Map);
  return *mPayload.map;
}

qxVariantListImpl& qxVariant::editList() {
  if (mType != VT_List) setType(VT_List);
  return *mPayload.list;
}

string qxVariant::toString() const {
  switch (mType) {
    case VT_Absent: return {};
    case VT_Integer: return qxStringUtils::fromInt64(mPayload.integer, 1);
    case VT_Double: return impl::DoubleToText(mPayload.real);
    case VT_String:
    case VT_Number: return *mPayload.text;
    case VT_Bool: return mPayload.integer != 0 ? "true" : "false";
    case VT_Null: return "null";
    case VT_Map: return ToJson(*mPayload.map);
    case VT_List: return ToJson(*mPayload.list);
  }
  return {};
}

int64 qxVariant::toInteger() const noexcept {
  switch (mType) {
    case VT_Integer:
    case VT_Bool: return mPayload.integer;
    case VT_Double: return impl::TruncateDouble(mPayload.real);
    case VT_Number: return impl::TruncateLiteral(*mPayload.text);
    case VT_String: return impl::DecimalTextToInteger(*mPayload.text);
    default: return 0;
  }
}

bool qxVariant::toBool() const noexcept {
  switch (mType) {
    case VT_Integer:
    case VT_Bool: return mPayload.integer != 0;
    case VT_Double: return mPayload.real < 0.0 || mPayload.real > 0.0;
    case VT_Number: return impl::IsLiteralNonZero(*mPayload.text);
    case VT_String: return impl::EqualIgnoringCase(*mPayload.text, "true") || toInteger() != 0;
    default: return false;
  }
}

qxVariantMapImpl qxVariant::toMap() const { return getMap(); }

qxVariantListImpl qxVariant::toList() const { return getList(); }

void qxVariant::destroyPayload() noexcept { qxVariantAccess::Teardown::Destroy(*this); }

}  // namespace qx
