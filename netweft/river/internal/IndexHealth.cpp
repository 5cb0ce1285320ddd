#include "netweft/river/internal/IndexHealth.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/river/internal/CreationDescriptor.h"

namespace qx::couch {

using http::HttpHelpers;

namespace {

struct Check {
  http::HttpConnection& connection;
  const elasticsearch::ESConnectionParameters& es;
  const string& indexName;
  const bool* cancelFlag;
};

/// The status of the reply; `good` is false, and the map empty, unless it is 200 with JSON.
uint32 GetMap(const Check& check, const Url& url, qxVariantMapImpl& out, bool& good, string& error) {
  string reply;
  HttpHelpers::HttpResult result;
  result.errorMessage = &error;
  good = HttpHelpers::HttpGetJson(check.connection, url, reply, &result, nullptr, nullptr, check.cancelFlag) &&
         json::Json2Variant::Convert(reply.data(), reply.size(), out);
  if (!good) out.clear();
  return result.httpReturnCode;
}

bool HasGoodStatus(const Check& check) {
  qxVariantMapImpl health;
  bool good = false;
  string error;
  GetMap(check, check.es.toUrl("_cluster", "health", check.indexName, {}), health, good, error);
  if (ReadFlag(check.cancelFlag)) return true;
  if (!good) {
    LogError() << "Fail to retrieve health of index " << check.indexName << " " << error;
    return false;
  }
  const string status = health.getString("status", "");
  if (status == "yellow" || status == "green") return true;
  LogError() << "index " << check.indexName << " is sick, status is " << CutForLog(status);
  return false;
}

bool IsPresent(const Check& check) {
  string error;
  HttpHelpers::HttpResult result;
  result.errorMessage = &error;
  HttpHelpers::HttpHead(check.connection, check.es.toUrl(check.indexName, {}), &result, nullptr, nullptr,
                        check.cancelFlag);
  if (ReadFlag(check.cancelFlag)) return true;
  switch (result.httpReturnCode) {
    case 200: return true;
    case 404: LogWarning() << "Index " << check.indexName << " is missing !"; return false;
    default: LogWarning() << "Fail to check index " << check.indexName << " " << error; return false;
  }
}

bool IsSameCreation(const Check& check, const string& descriptor) {
  qxVariantMapImpl settings;
  bool good = false;
  string error;
  const uint32 status = GetMap(check, check.es.toUrl(check.indexName, "_settings", {}), settings, good, error);
  if (ReadFlag(check.cancelFlag)) return true;
  if (!good) {
    if (status != 404) LogWarning() << "Error while retrieving current index settings " << error;
    return true;
  }
  if (buildCreationDescriptor(check.indexName, settings) == descriptor) return true;
  LogWarning() << "creationdescriptor missmatch";
  return false;
}

}  // namespace

bool IsIndexHealthy(http::HttpConnection& connection, const elasticsearch::ESConnectionParameters& es,
                    const string& indexName, const string& descriptor, const bool* cancelFlag) {
  const Check check{connection, es, indexName, cancelFlag};
  return IsPresent(check) && HasGoodStatus(check) && IsSameCreation(check, descriptor);
}

}  // namespace qx::couch
