#include "netweft/frame/ProxyPolicyEnumHelper.h"

namespace qx::http {

namespace {

map<int, list<string>> ParseDeclaration() {
  map<int, list<string>> table;
  EnumHelperInterface::__GetEnumToStringMap(table, "PP_Default = 0 , PP_NoProxy , PP_AutomaticProxy , PP_ManualProxy");
  return table;
}

}  // namespace

const string ProxyPolicyEnumHelper::sTypeName = "qx::http::ProxyPolicy";
const map<int, list<string>> ProxyPolicyEnumHelper::sVals = ParseDeclaration();

ProxyPolicyEnumHelper::ProxyPolicyEnumHelper(const string& name) : EnumHelperInterface(name, sVals, sTypeName) {}

ProxyPolicyEnumHelper::ProxyPolicyEnumHelper(int value) : EnumHelperInterface(value, sVals, sTypeName) {}

ProxyPolicyEnumHelper::ProxyPolicyEnumHelper(ProxyPolicy value) : EnumHelperInterface(value, sVals, sTypeName) {}

}  // namespace qx::http
