// The River in a process of its own, for tests that kill it.
//   river_child COUCH ES DATABASE INDEX...
// Reads lines from stdin: "advance MS" lets the library's clock run ahead. Ends when stdin is closed.
//
// From the environment:
//   NETWEFT_RIVER_KILL=MOMENT:COUNT  SIGKILL when the named moment is passed for the COUNTth time
//   NETWEFT_RIVER_VERSION=TEXT       the application's version: another one builds the indexes anew
//   NETWEFT_RIVER_FIELDS=COUNT       fields of the mapping: one more widens the indexes in place
//   NETWEFT_RIVER_BATCH=COUNT        documents of a batch
//   NETWEFT_RIVER_DATABASES=COUNT    so many databases and as many indexes: both names are followed by -0, -1, ...
#include "netweft/base/system/internal/Clock.h"
#include "netweft/base/system/internal/FailPoint.h"
#include "netweft/frame/Netweft.h"
#include "netweft/river/CouchToEsRiverManager.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iostream>

namespace {

std::string FromEnvironment(const char* name, const char* otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : text;
}

struct Moment {
  std::string name;
  std::atomic<int> left{0};
};

Moment& DeadlyMoment() {
  static Moment moment;
  return moment;
}

[[maybe_unused]] void OnMoment(const char* name) {
  if (DeadlyMoment().name == name && --DeadlyMoment().left == 0) std::raise(SIGKILL);
}

/// False when the build has no such moments.
bool ArmDeadlyMoment() {
  const std::string text = FromEnvironment("NETWEFT_RIVER_KILL", "");
  if (text.empty()) return true;
  const size_t colon = text.find(':');
  DeadlyMoment().name = text.substr(0, colon);
  DeadlyMoment().left = std::atoi(text.c_str() + colon + 1);
  if constexpr (qx::impl::sHasFailPoints) qx::impl::SetFailPointHandler(OnMoment);
  return qx::impl::sHasFailPoints;
}

qx::couch::IndexDefinition Define(const std::string& dbName, const std::string& indexName) {
  qx::couch::IndexDefinition definition;
  definition.dbName = dbName;
  definition.indexName = indexName;
  definition.applicationVersion = FromEnvironment("NETWEFT_RIVER_VERSION", "");
  definition.mapping["dynamic"] = false;
  const int fields = std::atoi(FromEnvironment("NETWEFT_RIVER_FIELDS", "0").c_str());
  for (int i = 0; i < fields; ++i) {
    const std::string path = "properties/field" + std::to_string(i) + "/type";
    definition.mapping.editValuePath(path.c_str(), "long", '/');
  }
  definition.settings["index.number_of_shards"] = 1;
  definition.settings["index.number_of_replicas"] = 0;
  // What a search sees is then what the River itself has refreshed.
  definition.settings["index.refresh_interval"] = "-1";
  return definition;
}

void AddIndexes(qx::couch::CouchToEsRiverManager& river, const std::string& dbName, const std::string& indexName,
                int databases) {
  if (databases == 0) river.addIndex(Define(dbName, indexName));
  for (int i = 0; i < databases; ++i) {
    const std::string suffix = "-" + std::to_string(i);
    river.addIndex(Define(dbName + suffix, indexName + suffix));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5 || !ArmDeadlyMoment()) return 2;
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  {
    qx::couch::CouchToEsRiverManager::Parameters parameters;
    parameters.couch = qx::Url(argv[1]);
    parameters.es = qx::Url(argv[2]);
    parameters.maxDocsPerBatch = std::atoi(FromEnvironment("NETWEFT_RIVER_BATCH", "200").c_str());
    parameters.refreshPeriodSec = 1;
    qx::couch::CouchToEsRiverManager river(parameters);
    const int databases = std::atoi(FromEnvironment("NETWEFT_RIVER_DATABASES", "0").c_str());
    for (int i = 4; i < argc; ++i) AddIndexes(river, argv[3], argv[i], databases);
    for (std::string line; std::getline(std::cin, line);) {
      if (line.rfind("advance ", 0) == 0) qx::impl::AdvanceClock(std::atoll(line.c_str() + 8));
    }
  }
  qx::terminateNetweft();
}
