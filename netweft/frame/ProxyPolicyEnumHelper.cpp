#include "netweft/frame/ProxyPolicyEnumHelper.h"

#include "netweft/frame/internal/EnumNames.h"

namespace qx::http {

const string ProxyPolicyEnumHelper::sTypeName = "qx::http::ProxyPolicy";
const map<int, list<string>> ProxyPolicyEnumHelper::sVals =
    impl::ParseEnumNames("PP_Default = 0 , PP_NoProxy , PP_AutomaticProxy , PP_ManualProxy");

ProxyPolicyEnumHelper::ProxyPolicyEnumHelper(const string& name) : EnumHelperInterface(name, sVals, sTypeName) {}

ProxyPolicyEnumHelper::ProxyPolicyEnumHelper(int value) : EnumHelperInterface(value, sVals, sTypeName) {}

ProxyPolicyEnumHelper::ProxyPolicyEnumHelper(ProxyPolicy value) : EnumHelperInterface(value, sVals, sTypeName) {}

}  // namespace qx::http
