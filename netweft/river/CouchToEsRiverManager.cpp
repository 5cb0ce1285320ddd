#include "netweft/river/CouchToEsRiverManager.h"

#include "netweft/base/system/internal/RequireThread.h"
#include "netweft/base/system/internal/WorkerThread.h"
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
/// How long the control thread waits for memory that it did not get, in milliseconds.
constexpr unsigned long sRetryMs = 200;

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
  // All that needs memory comes first, and outside the maps: an entry half made would have no index to be removed by.
  Databases database;
  map<string, IndexEntry> indexes;
  database[definition.dbName].dbName = definition.dbName;
  indexes[definition.indexName].definition = definition;
  qxMutexLocker lock(mState->mutex, true);
  mState->databases.merge(database);
  DbEntry& entry = mState->databases.find(definition.dbName)->second;
  entry.indexes.merge(indexes);
  IndexEntry& index = entry.indexes.find(definition.indexName)->second;
  if (!indexes.empty()) index.definition = std::move(indexes.begin()->second.definition);  // it was there before
  index.lastRefreshSeq = 0;
  ++entry.generation;
  mState->renewEpoch(entry);
  if (entry.identity == 0) entry.identity = entry.epoch;
  mState->condition.wakeAll();
}

bool CouchToEsRiverManager::removeIndex(const string& indexName, bool deleteIndex) {
  qxMutexLocker lock(mState->mutex, true);
  if (FoundIndex found; FindIndex(mState->databases, indexName, found)) {
    mState->removeIndex(found.database, found.index);
  } else {
    mState->condition.wakeAll();
  }
  if (!deleteIndex) return true;
  http::HttpConnection connection(false);
  return DeleteIndex(indexName, connection, mState->parameters.es, sIndexDeletionTimeoutMs);
}

void CouchToEsRiverManager::State::removeIndex(Databases::iterator database, map<string, IndexEntry>::iterator index) {
  DbEntry& entry = database->second;
  const auto removed = entry.indexes.extract(index);
  const uint64 before = entry.epoch;
  ++entry.generation;
  renewEpoch(entry);
  if (entry.indexes.empty()) databases.erase(database);
  condition.wakeAll();

  const string& dbName = removed.mapped().definition.dbName;
  const auto busy = [&](const unique_ptr<Worker>& worker) { return worker->isOn(dbName, before); };
  while (std::any_of(workers.begin(), workers.end(), busy)) {
    mutex.unlock();
    msleep(sWorkerPollMs);
    mutex.lock();
  }
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
    const auto database = mState->databases.begin();
    mState->removeIndex(database, database->second.indexes.begin());
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
  for (bool isClosed = false; !isClosed;) {
    // It ends when the manager closes, and does not begin when there is no memory for it.
    impl::WorkerThread::Guard([this] { ControlLoop(*this, *mState).run(); });
    qxMutexLocker lock(mState->mutex, true);
    isClosed = mState->closing;
    if (!isClosed) mState->condition.wait(&mState->mutex, sRetryMs);
  }
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
