#include "netweft/http/HttpConnectionLocker.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/HttpConnectionPool.h"

#include <new>

namespace qx::http {

HttpConnectionLocker::HttpConnectionLocker(HttpConnectionPool& pool, const string& host, unsigned short port)
    : mConnection(nullptr), mPool(&pool) {
  setConnection(host, port);
}

HttpConnectionLocker::HttpConnectionLocker(HttpConnectionPool& pool, const qx::Url& url)
    : HttpConnectionLocker(pool, url.getHost(), url.getPort()) {}

HttpConnectionLocker::HttpConnectionLocker(HttpConnection* connection) : mConnection(connection), mPool(nullptr) {}

HttpConnectionLocker::~HttpConnectionLocker() {
  if (mPool == nullptr) {
    const unique_ptr<HttpConnection> owned(mConnection);
    return;
  }
  try {
    warnIfMoved();
  } catch (const std::bad_alloc&) {
    // The line is lost, the connection must not be.
  }
  mPool->releaseHttpConnection(mConnection);
}

void HttpConnectionLocker::setConnection(const string& host, unsigned short port) {
  mDeclaredHost = host;
  mDeclaredPort = port;
  unique_ptr<HttpConnection> borrowed(mPool->getHttpConnection(host, port));
  mInitialHost = borrowed->getLastUrl().getHost();
  mInitialPort = borrowed->getLastUrl().getPort();
  mConnection = borrowed.release();
}

void HttpConnectionLocker::warnIfMoved() const {
  if (mInitialHost.empty()) return;
  const Url& last = mConnection->getLastUrl();
  const bool isSameHost = mDeclaredHost == last.getHost() && mInitialHost == last.getHost();
  const bool isSamePort = mDeclaredPort == last.getPort() && mInitialPort == last.getPort();
  if (isSameHost && isSamePort) return;
  LogDetail("") << "Http connection from pool was used with an other host/port '" << last.toDisplayableUrl()
                << "' than the one declared " << mDeclaredHost << ":" << mDeclaredPort;
}

}  // namespace qx::http
