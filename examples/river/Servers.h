#pragma once

#include "netweft/netweft.h"

#include <string>

/// Questions to the two servers, over connections of their own. Not for several threads at once.
class Servers {
 public:
  explicit Servers(const qx::couch::CouchToEsRiverManager::Parameters& parameters) : mParameters(parameters) {}

  /// False, with the reason in plain words, when Elasticsearch does not answer or refuses us.
  bool checkElasticsearch(std::string& error);
  /// The same for one database of the CouchDB server.
  bool checkDatabase(const std::string& dbName, std::string& error);
  /// The sequence of the database's last change; false when it cannot be had just now.
  bool readUpdateSeq(const std::string& dbName, qx::uint64& out);

 private:
  const qx::couch::CouchToEsRiverManager::Parameters& mParameters;
  qx::http::HttpConnection mCouch{true};
  qx::http::HttpConnection mEs{true};
};
