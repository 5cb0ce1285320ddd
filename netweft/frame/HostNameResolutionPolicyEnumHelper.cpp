#include "netweft/frame/HostNameResolutionPolicyEnumHelper.h"

#include "netweft/frame/internal/EnumNames.h"

namespace qx::http {

const string HostNameResolutionPolicyEnumHelper::sTypeName = "qx::http::HostNameResolutionPolicy";
const map<int, list<string>> HostNameResolutionPolicyEnumHelper::sVals =
    impl::ParseEnumNames("HNRP_Default = 0, HNRP_Whatever, HNRP_PreferIpv6, HNRP_PreferIpv4");

HostNameResolutionPolicyEnumHelper::HostNameResolutionPolicyEnumHelper(const string& name)
    : EnumHelperInterface(name, sVals, sTypeName) {}

HostNameResolutionPolicyEnumHelper::HostNameResolutionPolicyEnumHelper(int value)
    : EnumHelperInterface(value, sVals, sTypeName) {}

HostNameResolutionPolicyEnumHelper::HostNameResolutionPolicyEnumHelper(HostNameResolutionPolicy value)
    : EnumHelperInterface(value, sVals, sTypeName) {}

}  // namespace qx::http
