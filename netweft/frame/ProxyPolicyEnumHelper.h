#pragma once

#include "netweft/base/system/EnumHelperInterface.h"
#include "netweft/base/system/NetweftExport.h"
#include "netweft/frame/Policies.h"

namespace qx::http {

/// The text form of `ProxyPolicy`: a value by name or number, and back. Holds the value alone; the tables live as
/// long as the library.
class NETWEFT_EXPORT ProxyPolicyEnumHelper : public EnumHelperInterface {
 public:
  /// The enumeration's name, and the names of its values.
  static const string sTypeName;
  static const map<int, list<string>> sVals;

  /// By name, by number, and of a value: `isKnown` tells whether there is such a one.
  explicit ProxyPolicyEnumHelper(const string& name);
  explicit ProxyPolicyEnumHelper(int value);
  explicit ProxyPolicyEnumHelper(ProxyPolicy value);
};

}  // namespace qx::http
