// Keeps one index in step with one database until Enter is pressed.
#include "netweft/netweft.h"

#include <iostream>

int main() {
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  {
    qx::couch::CouchToEsRiverManager::Parameters parameters;
    parameters.couch = qx::Url("http://127.0.0.1:5984");
    parameters.es = qx::Url("http://127.0.0.1:9200");
    qx::couch::CouchToEsRiverManager river(parameters);
    qx::couch::IndexDefinition index;
    index.dbName = "articles";
    index.indexName = "articles-search";
    river.addIndex(index);
    std::cin.get();
  }
  qx::terminateNetweft();
}
