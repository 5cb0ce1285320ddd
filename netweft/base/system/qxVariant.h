#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

#include <concepts>

namespace qx {

/// A tagged dynamic value: what a JSON document is made of. 16 bytes: a tag and one word. Integers, booleans
/// and doubles are held in place; a string, a map or a list is owned.
///
/// Copying copies deeply. A moved-from variant is absent (tag 0). Copying, comparing and destroying use no
/// recursion: nesting of any depth is safe.
///
/// Setting a variant to a new kind of value changes it in place, so a reference obtained from a map or a list
/// stays valid across the change.
///
/// Threads: a plain value with no lock.
class NETWEFT_EXPORT qxVariant {
 public:
  /// The tag: what kind of value is held.
  enum Type : int32 {
    VT_Absent = 0,   ///< no value; a map member with it is left out of JSON, a list element is written `null`
    VT_Integer = 1,  ///< signed 64-bit integer
    VT_Double = 2,   ///< a double that a host has set; JSON reading never gives it
    VT_String = 3,   ///< bytes, by convention UTF-8
    VT_Bool = 4,     ///< true or false
    VT_Null = 5,     ///< JSON `null`
    VT_Number = 6,   ///< a JSON number that is no integer in the 64-bit range; keeps its literal text
    VT_Map = 10,     ///< a `qxVariantMapImpl`
    VT_List = 11,    ///< a `qxVariantListImpl`
  };

  class qxVariantMapImpl;
  class qxVariantListImpl;

  qxVariant() noexcept : mType(VT_Absent) { mPayload.integer = 0; }
  /// Deep.
  qxVariant(const qxVariant& other);
  /// Leaves `other` absent.
  qxVariant(qxVariant&& other) noexcept
      : mType(std::exchange(other.mType, VT_Absent)), mPayload(std::exchange(other.mPayload, Payload{})) {}
  ~qxVariant() {
    if (ownsPayload()) destroyPayload();
  }

  /// An integer; what is beyond a signed 64-bit one wraps round.
  template <std::integral T>
    requires(!std::same_as<T, bool>)
  qxVariant(T value) noexcept : mType(VT_Integer) {
    mPayload.integer = static_cast<int64>(value);
  }
  /// A boolean.
  template <std::same_as<bool> T>
  qxVariant(T value) noexcept : mType(VT_Bool) {
    mPayload.integer = value ? 1 : 0;
  }
  /// A double.
  template <std::floating_point T>
  qxVariant(T value) noexcept : mType(VT_Double) {
    mPayload.real = static_cast<double>(value);
  }
  /// Null gives the empty string.
  qxVariant(const char* text);
  /// A string, a map, a list; a temporary is moved in.
  qxVariant(string text);
  qxVariant(qxVariantMapImpl value);
  qxVariant(qxVariantListImpl value);

  /// As the constructors. A part of this very value may be assigned to it.
  qxVariant& operator=(const qxVariant& other);
  qxVariant& operator=(qxVariant&& other) noexcept;
  /// Becomes a string. Null gives the empty string.
  qxVariant& operator=(const char* text);
  /// Of its own, since a literal 0 would be taken for a null text.
  template <class Number>
    requires(std::integral<Number> || std::floating_point<Number>)
  qxVariant& operator=(Number number) noexcept {
    return *this = qxVariant(number);
  }

  /// Compares by value: the tags must be equal too, save that numbers of any tag (integer, double, literal)
  /// compare as numbers where doubles can tell them apart. Absent equals absent, null equals null.
  bool operator==(const qxVariant& other) const;
  bool operator!=(const qxVariant& other) const { return !(*this == other); }

  /// The tag.
  Type getType() const noexcept { return mType; }

  /// Becomes the empty value of that kind (0, "", false, an empty map or list, null, absent). A `VT_Number`
  /// cannot be made this way and gives integer 0. The old payload is destroyed, also if the kind stays.
  void setType(Type type);

  /// The held value, without conversion; meant to be called after a test of the tag. On another tag they
  /// give a constant empty value that lives as long as the process.
  const string& getString() const noexcept;
  const qxVariantMapImpl& getMap() const noexcept;
  const qxVariantListImpl& getList() const noexcept;

  /// Mutable access to the held value. A variant of another tag becomes an empty string, map or list first.
  /// The reference is valid until the variant changes its kind or dies.
  string& editString();
  qxVariantMapImpl& editMap();
  qxVariantListImpl& editList();

  /// Text of any tag: decimal for numbers (a literal as it was read), "true" and "false", compact JSON for a
  /// map or list, "null" for null, empty for absent.
  string toString() const;

  /// Number of any tag: integer as it is; boolean 0 or 1; a fractional number truncated toward zero and clamped
  /// to the range; a text only if the whole of it (white space trimmed) is a decimal integer that fits, else
  /// 0; everything else 0.
  int64 toInteger() const noexcept;

  /// Truth of any tag: a number is true when it is not zero; a text when it is "true" in any letter case or a
  /// non-zero integer by `toInteger`; everything else is false.
  bool toBool() const noexcept;

  /// The held map or list by value; empty for another tag.
  qxVariantMapImpl toMap() const;
  qxVariantListImpl toList() const;

  /// Exchanges the values without a copy.
  void swap(qxVariant& other) noexcept {
    std::swap(mType, other.mType);
    std::swap(mPayload, other.mPayload);
  }

 private:
  /// The door of the JSON reader and writer and of the containers: base/system/internal/qxVariantAccess.h.
  friend struct qxVariantAccess;

  union Payload {
    int64 integer;
    double real;
    string* text;
    qxVariantMapImpl* map;
    qxVariantListImpl* list;
  };

  bool ownsPayload() const noexcept {
    return mType == VT_String || mType == VT_Number || mType == VT_Map || mType == VT_List;
  }
  void destroyPayload() noexcept;

  Type mType;
  Payload mPayload;
};

}  // namespace qx

#include "netweft/base/system/qxVariantListImpl.h"
#include "netweft/base/system/qxVariantMapImpl.h"

namespace qx {
/// Map and list under the names that everybody uses.
using qxVariantMapImpl = qxVariant::qxVariantMapImpl;
using qxVariantListImpl = qxVariant::qxVariantListImpl;
}  // namespace qx
