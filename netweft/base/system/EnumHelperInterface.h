#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// Base of the helpers that give an enumeration a text form. A helper holds one value; the table of names is its
/// enumeration's, built once from a declaration text, and must outlive the helper.
class NETWEFT_EXPORT EnumHelperInterface {
 public:
  /// Names by value; the first of a value is the one that `toString` gives.
  using NameTable = map<int, list<string>>;

  ~EnumHelperInterface();

  /// Parses "PP_Default = 0 , PP_NoProxy , PP_ManualProxy = 3": names are cut at commas, white space is ignored,
  /// "= n" sets the value, and a name without one takes the previous value plus 1 (the first one: 0). Two names of
  /// one value both stand in its list, in the order of the text. Adds to `out`.
  static void __GetEnumToStringMap(NameTable& out, const string& declaration);

  /// The value; 0 for a name that the table does not hold.
  int toInt() const noexcept { return mValue; }

  /// The value's first name, or its number in decimal when the table has none.
  string toString() const;

  /// False when the helper was built from a name, or a number, that the table does not hold.
  bool isKnown() const;

  /// The enumeration's own name.
  const string& getTypeName() const noexcept { return *mTypeName; }

 protected:
  /// `table` and `typeName` stay the caller's and must outlive the helper and its copies.
  EnumHelperInterface(int value, const NameTable& table, const string& typeName);
  /// White space around the name is ignored. A name that the table does not hold gives the value 0 and a warning
  /// line that names the type.
  EnumHelperInterface(const string& text, const NameTable& table, const string& typeName);

 private:
  int mValue;
  bool mKnown;
  const NameTable* mTable;
  const string* mTypeName;
};

}  // namespace qx
