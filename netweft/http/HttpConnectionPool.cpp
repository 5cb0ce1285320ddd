#include "netweft/http/HttpConnectionPool.h"

#include "netweft/base/system/qxMutexLocker.h"
#include "netweft/base/system/qxSystemUtils.h"
#include "netweft/base/system/qxThreadPeriodicalUpdater.h"
#include "netweft/frame/internal/FrameState.h"
#include "netweft/http/HttpConnection.h"

#include <algorithm>
#include <atomic>
#include <new>

namespace qx::http {

namespace {

struct PoolEntry {
  unique_ptr<HttpConnection> connection;
  int64 releaseTimeMs;
  string host;
  uint16 port;
};

}  // namespace

struct NETWEFT_HIDDEN HttpConnectionPool::HttpConnectionPoolImpl {
  qxMutex mutex;
  /// The most recently released first.
  list<PoolEntry> idleConnections NETWEFT_GUARDED_BY(mutex);
  int64 keepOpenMs NETWEFT_GUARDED_BY(mutex) = 10000;
  // Written under the mutex, read without it.
  std::atomic<uint32> maxConcurrentConnection = 1;
};

// Stands above its callers, which learn here what it wants of them.
void HttpConnectionPool::updateConnectionPoolImpl() NETWEFT_REQUIRES(mImpl->mutex) {
  list<PoolEntry>& idle = mImpl->idleConnections;
  if (idle.empty()) return;
  const int64 oldest = qxSystemUtils::GetTimeBaseMs() - mImpl->keepOpenMs;
  const auto isExpired = [oldest](const PoolEntry& entry) { return entry.releaseTimeMs < oldest; };
  if (isExpired(idle.back())) idle.remove_if(isExpired);
  while (idle.size() > mImpl->maxConcurrentConnection) idle.pop_back();
}

HttpConnectionPool::HttpConnectionPool() : mImpl(std::make_unique<HttpConnectionPoolImpl>()) {
  qx::impl::GetPoolUpdater()->addCallback(UpdatePool, this);
}

HttpConnectionPool::~HttpConnectionPool() { qx::impl::GetPoolUpdater()->removeCallback(UpdatePool, this); }

HttpConnection* HttpConnectionPool::getHttpConnection(const string& host, unsigned short port) {
  {
    const qxMutexLocker lock(mImpl->mutex, true);
    list<PoolEntry>& idle = mImpl->idleConnections;
    const auto found = std::find_if(idle.begin(), idle.end(),
                                    [&](const PoolEntry& entry) { return entry.port == port && entry.host == host; });
    if (found != idle.end()) {
      unique_ptr<HttpConnection> connection = std::move(found->connection);
      idle.erase(found);
      return connection.release();
    }
  }
  return std::make_unique<HttpConnection>(true).release();
}

void HttpConnectionPool::releaseHttpConnection(HttpConnection* connection) {
  unique_ptr<HttpConnection> released(connection);
  if (released == nullptr) return;
  const Url& lastUrl = released->getLastUrl();
  if (lastUrl.getHost().empty()) return;
  list<PoolEntry> kept;
  try {
    kept.push_back({nullptr, qxSystemUtils::GetTimeBaseMs(), lastUrl.getHost(), lastUrl.getPort()});
  } catch (const std::bad_alloc&) {
    return;  // closed then: destructors give connections back, and could not tell of it
  }
  kept.front().connection = std::move(released);
  const qxMutexLocker lock(mImpl->mutex, true);
  mImpl->idleConnections.splice(mImpl->idleConnections.begin(), kept);
  updateConnectionPoolImpl();
}

// The product is 32 bits wide on purpose; see the header.
void HttpConnectionPool::setKeepOpenDurationSec(unsigned int seconds) {
  const qxMutexLocker lock(mImpl->mutex, true);
  mImpl->keepOpenMs = static_cast<uint32>(seconds * 1000U);
  updateConnectionPoolImpl();
}

void HttpConnectionPool::setMaxPendingConnection(unsigned int count) {
  const qxMutexLocker lock(mImpl->mutex, true);
  mImpl->maxConcurrentConnection = std::max(1U, count);
  updateConnectionPoolImpl();
}

void HttpConnectionPool::ensureAtLeastMaxConcurrentConnection(unsigned int count) {
  const qxMutexLocker lock(mImpl->mutex, true);
  if (mImpl->maxConcurrentConnection < count) mImpl->maxConcurrentConnection = count;
}

unsigned int HttpConnectionPool::getMaxConcurrentConnection() const noexcept { return mImpl->maxConcurrentConnection; }

void HttpConnectionPool::UpdatePool(void* pool) {
  auto* const self = static_cast<HttpConnectionPool*>(pool);
  const qxMutexLocker lock(self->mImpl->mutex, true);
  self->updateConnectionPoolImpl();
}

}  // namespace qx::http
