// The River in a process of its own, for tests that kill it.
//   river_child COUCH ES DATABASE INDEX...
// Reads lines from stdin: "advance MS" lets the library's clock run ahead. Ends when stdin is closed.
#include "netweft/base/system/internal/Clock.h"
#include "netweft/frame/Netweft.h"
#include "netweft/river/CouchToEsRiverManager.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
  if (argc < 5) return 2;
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  {
    qx::couch::CouchToEsRiverManager::Parameters parameters;
    parameters.couch = qx::Url(argv[1]);
    parameters.es = qx::Url(argv[2]);
    parameters.maxDocsPerBatch = 200;
    parameters.refreshPeriodSec = 1;
    qx::couch::CouchToEsRiverManager river(parameters);
    for (int i = 4; i < argc; ++i) {
      qx::couch::IndexDefinition definition;
      definition.dbName = argv[3];
      definition.indexName = argv[i];
      definition.mapping["dynamic"] = false;
      definition.settings["index.number_of_shards"] = 1;
      definition.settings["index.number_of_replicas"] = 0;
      river.addIndex(definition);
    }
    for (std::string line; std::getline(std::cin, line);) {
      if (line.rfind("advance ", 0) == 0) qx::impl::AdvanceClock(std::atoll(line.c_str() + 8));
    }
  }
  qx::terminateNetweft();
}
