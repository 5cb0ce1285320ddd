#include "netweft/frame/SSLValidatePolicyEnumHelper.h"

namespace qx::http {

namespace {

map<int, list<string>> ParseDeclaration() {
  map<int, list<string>> table;
  EnumHelperInterface::__GetEnumToStringMap(table, "SVP_DefaultBehavior = 0 , SVP_VerifyPeerAndHost , SVP_NoVerify");
  return table;
}

}  // namespace

const string SSLValidatePolicyEnumHelper::sTypeName = "qx::http::SSLValidatePolicy";
const map<int, list<string>> SSLValidatePolicyEnumHelper::sVals = ParseDeclaration();

SSLValidatePolicyEnumHelper::SSLValidatePolicyEnumHelper(const string& name)
    : EnumHelperInterface(name, sVals, sTypeName) {}

SSLValidatePolicyEnumHelper::SSLValidatePolicyEnumHelper(int value) : EnumHelperInterface(value, sVals, sTypeName) {}

SSLValidatePolicyEnumHelper::SSLValidatePolicyEnumHelper(SSLValidatePolicy value)
    : EnumHelperInterface(value, sVals, sTypeName) {}

}  // namespace qx::http
