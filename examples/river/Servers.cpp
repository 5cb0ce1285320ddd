#include "Servers.h"

namespace {

using qx::http::HttpHelpers;

/// What a person wants to know about a reply that is not 200.
std::string Explain(const char* server, const qx::Url& url, qx::uint32 status, const std::string& error) {
  const std::string where = std::string(server) + " at " + url.toDisplayableUrl();
  switch (status) {
    case 0: return "cannot reach " + where + ": " + error;
    case 401:
    case 403: return where + " refuses the name and password";
    default: return where + " answers with status " + std::to_string(status);
  }
}

}  // namespace

bool Servers::checkElasticsearch(std::string& error) {
  HttpHelpers::HttpResult result;
  std::string reason;
  result.errorMessage = &reason;
  if (HttpHelpers::HttpGet(mEs, mParameters.es, &result)) return true;
  error = Explain("Elasticsearch", mParameters.es, result.httpReturnCode, reason);
  return false;
}

bool Servers::checkDatabase(const std::string& dbName, std::string& error) {
  HttpHelpers::HttpResult result;
  std::string reason;
  result.errorMessage = &reason;
  if (HttpHelpers::HttpGet(mCouch, mParameters.couch.toDatabaseUrl(dbName, {}), &result)) return true;
  error = result.httpReturnCode == 404
              ? "there is no database \"" + dbName + "\" on " + mParameters.couch.toDisplayableUrl()
              : Explain("CouchDB", mParameters.couch, result.httpReturnCode, reason);
  return false;
}

bool Servers::readUpdateSeq(const std::string& dbName, qx::uint64& out) {
  std::string reply;
  HttpHelpers::HttpResult result;
  qx::qxVariantMapImpl information;
  if (!HttpHelpers::HttpGetJson(mCouch, mParameters.couch.toDatabaseUrl(dbName, {}), reply, &result) ||
      !qx::json::Json2Variant::Convert(reply.data(), reply.size(), information)) {
    return false;
  }
  out = static_cast<qx::uint64>(information.getInteger("update_seq", 0));
  return true;
}
