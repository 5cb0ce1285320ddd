#pragma once

#include "netweft/base/system/EnumHelperInterface.h"
#include "netweft/base/system/NetweftExport.h"
#include "netweft/frame/Policies.h"

namespace qx::http {

/// The text form of `SSLValidatePolicy`: a value by name or number, and back. Holds the value alone; the tables live as
/// long as the library.
class NETWEFT_EXPORT SSLValidatePolicyEnumHelper : public EnumHelperInterface {
 public:
  /// The enumeration's name, and the names of its values.
  static const string sTypeName;
  static const map<int, list<string>> sVals;

  /// By name, by number, and of a value: `isKnown` tells whether there is such a one.
  explicit SSLValidatePolicyEnumHelper(const string& name);
  explicit SSLValidatePolicyEnumHelper(int value);
  explicit SSLValidatePolicyEnumHelper(SSLValidatePolicy value);
};

}  // namespace qx::http
