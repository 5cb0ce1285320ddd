#include "netweft/river/internal/RiverState.h"

#include "netweft/river/internal/Worker.h"

namespace qx::couch {

CouchToEsRiverManager::State::State(RiverParameters&& given) : parameters(std::move(given)) {}

CouchToEsRiverManager::State::~State() = default;

void CouchToEsRiverManager::State::renewEpoch(DbEntry& entry) noexcept { entry.epoch = ++lastEpoch; }

void CouchToEsRiverManager::State::fail(DbEntry& entry) noexcept {
  entry.generation = 0;
  renewEpoch(entry);
  condition.wakeAll();
}

DbEntry* CouchToEsRiverManager::State::findEntry(const string& dbName) {
  const auto found = databases.find(dbName);
  return found == databases.end() ? nullptr : &found->second;
}

bool CouchToEsRiverManager::State::cancelWorkersOn(const string& dbName) {
  bool busy = false;
  for (const auto& worker : workers) busy |= worker->cancelIfOn(dbName);
  return busy;
}

}  // namespace qx::couch
