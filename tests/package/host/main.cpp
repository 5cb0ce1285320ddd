// A bit of each subsystem that needs no server.
#include "netweft/netweft.h"

#include <iostream>

namespace {

bool CheckToken() {
  qx::qxVariantMapImpl claims;
  claims["exp"] = qx::jwt::NowSec() + 60;
  std::string token;
  qx::jwt::Verifier verifier;
  verifier.setClientInfo("secret", nullptr, qx::jwt::HS256, false);
  qx::qxVariantMapImpl read;
  return qx::jwt::CreateHashedJwt(claims, "secret", qx::jwt::HS256, token, 0) &&
         verifier.validateJwt(token, read, nullptr);
}

bool CheckRiver() {
  qx::couch::CouchToEsRiverManager::Parameters parameters;
  parameters.couch = qx::Url("http://127.0.0.1:1");
  parameters.es = qx::Url("http://127.0.0.1:1");
  qx::couch::CouchToEsRiverManager river(parameters);
  return !river.getIndexInfo("none", nullptr, nullptr, nullptr);
}

bool CheckHosts() {
  qx::IcmpHostStatRetriever retriever;
  std::vector<qx::IcmpHostStatRetriever::Result> results;
  return retriever.isRequestDone() && retriever.finalizeRequest(results);
}

}  // namespace

int main() {
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  const bool good =
      qx::Url("http://host:80/a%20b").getPath().front() == "a b" && CheckToken() && CheckRiver() && CheckHosts();
  qx::terminateNetweft();
  std::cout << (good ? "good\n" : "bad\n");
  return good ? 0 : 1;
}
