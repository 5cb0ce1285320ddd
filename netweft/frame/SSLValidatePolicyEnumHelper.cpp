#include "netweft/frame/SSLValidatePolicyEnumHelper.h"

#include "netweft/frame/internal/EnumNames.h"

namespace qx::http {

const string SSLValidatePolicyEnumHelper::sTypeName = "qx::http::SSLValidatePolicy";
const map<int, list<string>> SSLValidatePolicyEnumHelper::sVals =
    impl::ParseEnumNames("SVP_DefaultBehavior = 0 , SVP_VerifyPeerAndHost , SVP_NoVerify");

SSLValidatePolicyEnumHelper::SSLValidatePolicyEnumHelper(const string& name)
    : EnumHelperInterface(name, sVals, sTypeName) {}

SSLValidatePolicyEnumHelper::SSLValidatePolicyEnumHelper(int value) : EnumHelperInterface(value, sVals, sTypeName) {}

SSLValidatePolicyEnumHelper::SSLValidatePolicyEnumHelper(SSLValidatePolicy value)
    : EnumHelperInterface(value, sVals, sTypeName) {}

}  // namespace qx::http
