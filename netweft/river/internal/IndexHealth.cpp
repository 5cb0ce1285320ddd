#include "netweft/river/internal/IndexHealth.h"

#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/http/internal/HttpStatus.h"
#include "netweft/river/internal/CreationDescriptor.h"
#include "netweft/river/internal/JsonExchange.h"

namespace qx::couch {

using http::HttpHelpers;

namespace {

struct Check {
  http::HttpConnection& connection;
  const elasticsearch::ESConnectionParameters& es;
  const string& indexName;
  const bool* cancelFlag;
};

bool HasGoodStatus(const Check& check) {
  const JsonReply health =
      GetJson(check.connection, check.es.toUrl("_cluster", "health", check.indexName, {}), check.cancelFlag);
  if (ReadFlag(check.cancelFlag)) return true;
  if (!health.good) {
    LogError() << "Fail to retrieve health of index " << check.indexName << " " << check.connection.getLastErrorMsg();
    return false;
  }
  const string status = health.map.getString("status", "");
  if (status == "yellow" || status == "green") return true;
  LogError() << "index " << check.indexName << " is sick, status is " << CutForLog(status);
  return false;
}

bool IsPresent(const Check& check) {
  HttpHelpers::HttpResult result;
  HttpHelpers::HttpHead(check.connection, check.es.toUrl(check.indexName, {}), &result, nullptr, nullptr,
                        check.cancelFlag);
  if (ReadFlag(check.cancelFlag)) return true;
  switch (result.httpReturnCode) {
    case http::sHttpOk: return true;
    case http::sHttpNotFound: LogWarning() << "Index " << check.indexName << " is missing !"; return false;
    default:
      LogWarning() << "Fail to check index " << check.indexName << " " << check.connection.getLastErrorMsg();
      return false;
  }
}

bool IsSameCreation(const Check& check, const string& descriptor) {
  const JsonReply settings =
      GetJson(check.connection, check.es.toUrl(check.indexName, "_settings", {}), check.cancelFlag);
  if (ReadFlag(check.cancelFlag)) return true;
  if (!settings.good) {
    if (settings.status != http::sHttpNotFound) {
      LogWarning() << "Error while retrieving current index settings " << check.connection.getLastErrorMsg();
    }
    return true;
  }
  if (buildCreationDescriptor(check.indexName, settings.map) == descriptor) return true;
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
