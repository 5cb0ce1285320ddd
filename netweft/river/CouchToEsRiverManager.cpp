#include "netweft/river/CouchToEsRiverManager.h"

#include "netweft/base/system/internal/RequireThread.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxMutexLocker.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/river/internal/ControlLoop.h"
#include "netweft/river/internal/IndexDeletion.h"
#include "netweft/river/internal/JsonExchange.h"
#include "netweft/river/internal/Worker.h"

#include <algorithm>

namespace qx::couch {

namespace {

/// How often a wait for Workers looks at them, in milliseconds.
constexpr unsigned long sWorkerPollMs = 30;

using Databases = map<string, DbEntry>;

struct FoundIndex {
  Databases::iterator database;
  map<string, IndexEntry>::iterator index;
};

/// The first index of that name, in the order of the databases.
bool FindIndex(Databases& databases, const string& indexName, FoundIndex& out) {
  for (auto database = databases.begin(); database != databases.end(); ++database) {
    const auto index = database->second.indexes.find(indexName);
    if (index == database->second.indexes.end()) continue;
    out = {database, index};
    return true;
  }
  return false;
}

}  // namespace

CouchToEsRiverManager::CouchToEsRiverManager(Parameters parameters)
    : mState(std::make_unique<State>(std::move(parameters))) {
  const uint32 count = static_cast<uint32>(std::max(1, mState->parameters.workerCount));
  mState->workers.reserve(count);
  {
    // Workers already look for work while the list of them still grows.
    qxMutexLocker lock(mState->mutex, true);
    for (uint32 number = 1; number <= count; ++number) {
      mState->workers.push_back(std::make_unique<Worker>(*mState, number));
    }
  }
  const auto isRunning = [](const unique_ptr<Worker>& worker) { return impl::IsThreadRunning(*worker); };
  impl::RequireThread(std::any_of(mState->workers.begin(), mState->workers.end(), isRunning));
  startThread(nullptr);
  impl::RequireThread(impl::IsThreadRunning(*this));
}

CouchToEsRiverManager::~CouchToEsRiverManager() {
  closeManager();
  waitThread(sNoLimit);
  {
    qxMutexLocker lock(mState->mutex, true);
    for (const auto& worker : mState->workers) worker->raiseStop();
  }
  while (!mState->workers.empty()) mState->workers.pop_back();
}

void CouchToEsRiverManager::addIndex(const IndexDefinition& definition) {
  qxMutexLocker lock(mState->mutex, true);
  DbEntry& entry = mState->databases[definition.dbName];
  IndexEntry& index = entry.indexes[definition.indexName];
  entry.dbName = definition.dbName;
  index.definition = definition;
  index.lastRefreshSeq = 0;
  ++entry.generation;
  mState->renewEpoch(entry);
  if (entry.identity == 0) entry.identity = entry.epoch;
  mState->condition.wakeAll();
}

bool CouchToEsRiverManager::removeIndex(const string& indexName, bool deleteIndex) {
  qxMutexLocker lock(mState->mutex, true);
  if (FoundIndex found; FindIndex(mState->databases, indexName, found)) {
    DbEntry& entry = found.database->second;
    const string dbName = entry.dbName;
    const uint64 lastEpoch = entry.epoch;
    entry.indexes.erase(found.index);
    ++entry.generation;
    mState->renewEpoch(entry);
    if (entry.indexes.empty()) mState->databases.erase(found.database);
    mState->condition.wakeAll();

    const auto busy = [&](const unique_ptr<Worker>& worker) { return worker->isOn(dbName, lastEpoch); };
    while (std::any_of(mState->workers.begin(), mState->workers.end(), busy)) {
      lock.unlock();
      msleep(sWorkerPollMs);
      lock.lock();
    }
  } else {
    mState->condition.wakeAll();
  }
  if (!deleteIndex) return true;
  http::HttpConnection connection(false);
  return DeleteIndex(indexName, connection, mState->parameters.es, sIndexDeletionTimeoutMs);
}

bool CouchToEsRiverManager::getIndexInfo(const string& indexName, string* mappingRevision, uint64* lastRefreshSeq,
                                         string* creationDescriptor) {
  qxMutexLocker lock(mState->mutex, true);
  FoundIndex found;
  if (!FindIndex(mState->databases, indexName, found)) return false;
  const IndexEntry& index = found.index->second;
  if (mappingRevision != nullptr) *mappingRevision = index.definition.mappingRevision;
  if (lastRefreshSeq != nullptr) *lastRefreshSeq = index.lastRefreshSeq;
  if (creationDescriptor != nullptr) *creationDescriptor = index.creationDescriptor;
  return true;
}

void CouchToEsRiverManager::closeManager() {
  // Before the lock is asked for: the control thread may hold it while a transfer of its own hangs.
  StoreFlag(mState->closeAsked, true);
  qxMutexLocker lock(mState->mutex, true);
  for (const auto& worker : mState->workers) worker->cancel();
  while (!mState->databases.empty()) {
    const string indexName = mState->databases.begin()->second.indexes.begin()->first;
    lock.unlock();
    removeIndex(indexName, false);
    lock.lock();
  }
  mState->closing = true;
  mState->condition.wakeAll();
}

bool CouchToEsRiverManager::DeleteIndex(const string& indexName, http::HttpConnection& connection,
                                        const elasticsearch::ESConnectionParameters& es, int timeoutMs) {
  return couch::DeleteIndex(indexName, connection, es, timeoutMs);
}

bool CouchToEsRiverManager::GetIndexList(http::HttpConnection& connection,
                                         const elasticsearch::ESConnectionParameters& es,
                                         map<string, list<string>>& out) {
  out.clear();
  const JsonReply mappings = GetJson(connection, es.toUrl("_mapping", {}), nullptr);
  if (!mappings.complete) {
    LogError() << "Fail to retrieve index list " << connection.getLastErrorMsg();
    return false;
  }
  for (const auto& [indexName, mapping] : mappings.map) {
    const qxVariant* dbName = mapping.getMap().findValuePath("mappings/_doc/_meta/sourcedbname", '/');
    if (dbName != nullptr && !dbName->toString().empty()) out[dbName->toString()].push_back(indexName);
  }
  return true;
}

void CouchToEsRiverManager::run() {
  SetCurrentThreadName("nw-river");
  ControlLoop(*this, *mState).run();
}

void CouchToEsRiverManager::cancelJobAndWait(const string& dbName) {
  for (;;) {
    {
      qxMutexLocker lock(mState->mutex, true);
      if (!mState->cancelWorkersOn(dbName)) return;
    }
    msleep(sWorkerPollMs);
  }
}

}  // namespace qx::couch
