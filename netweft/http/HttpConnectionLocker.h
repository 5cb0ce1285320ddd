#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {
class Url;
}

namespace qx::http {

class HttpConnection;
class HttpConnectionPool;

/// Borrows a connection for a scope. One thread; the pool must outlive the locker.
///
///   HttpConnectionLocker connection(pool, url);
///   HttpHelpers::HttpGet(*connection, url);
class NETWEFT_EXPORT HttpConnectionLocker {
 public:
  /// Borrow from the pool, for requests to this host and port. If the connection comes back from another one the log
  /// says so on the unnamed channel, unless it was new.
  HttpConnectionLocker(HttpConnectionPool& pool, const string& host, unsigned short port);
  HttpConnectionLocker(HttpConnectionPool& pool, const qx::Url& url);
  /// Takes ownership, without any pool: the destructor deletes the connection. So one code path serves those who have a
  /// pool and those who have none. May be null.
  explicit HttpConnectionLocker(HttpConnection* connection);
  HttpConnectionLocker(const HttpConnectionLocker&) = delete;
  HttpConnectionLocker& operator=(const HttpConnectionLocker&) = delete;
  ~HttpConnectionLocker();

  /// The connection stays the locker's.
  HttpConnection* operator->() const noexcept { return mConnection; }
  operator HttpConnection*() const noexcept { return mConnection; }

 private:
  void setConnection(const string& host, unsigned short port);
  void warnIfMoved() const;

  HttpConnection* mConnection;
  HttpConnectionPool* mPool;
  string mDeclaredHost;
  uint16 mDeclaredPort = 0;
  /// Of the connection's last request before it was borrowed; empty and 0 for a new one.
  string mInitialHost;
  uint16 mInitialPort = 0;
};

}  // namespace qx::http
