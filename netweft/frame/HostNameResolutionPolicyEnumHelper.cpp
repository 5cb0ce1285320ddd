#include "netweft/frame/HostNameResolutionPolicyEnumHelper.h"

namespace qx::http {

namespace {

map<int, list<string>> ParseDeclaration() {
  map<int, list<string>> table;
  EnumHelperInterface::__GetEnumToStringMap(table, "HNRP_Default = 0, HNRP_Whatever, HNRP_PreferIpv6, HNRP_PreferIpv4");
  return table;
}

}  // namespace

const string HostNameResolutionPolicyEnumHelper::sTypeName = "qx::http::HostNameResolutionPolicy";
const map<int, list<string>> HostNameResolutionPolicyEnumHelper::sVals = ParseDeclaration();

HostNameResolutionPolicyEnumHelper::HostNameResolutionPolicyEnumHelper(const string& name)
    : EnumHelperInterface(name, sVals, sTypeName) {}

HostNameResolutionPolicyEnumHelper::HostNameResolutionPolicyEnumHelper(int value)
    : EnumHelperInterface(value, sVals, sTypeName) {}

HostNameResolutionPolicyEnumHelper::HostNameResolutionPolicyEnumHelper(HostNameResolutionPolicy value)
    : EnumHelperInterface(value, sVals, sTypeName) {}

}  // namespace qx::http
