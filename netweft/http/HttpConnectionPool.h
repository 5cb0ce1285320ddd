#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx::http {

class HttpConnection;

/// Keeps idle connections by host and port, so that a later request to the same endpoint finds its TCP and TLS session
/// still open. It limits what is idle, not what is in use: it never blocks and never refuses. `HttpConnectionLocker` is
/// the way to borrow that cannot forget to give back.
///
/// Any thread; a borrowed connection belongs to one thread. Connections are closed with the pool's lock held. Idle ones
/// expire on a thread of the library's, about every two seconds, and at each release.
///
/// A pool must be built and destroyed while the library is initialised. Borrowed connections may outlive it: whoever
/// holds one then deletes it, or releases it to a live pool.
class NETWEFT_EXPORT HttpConnectionPool {
 public:
  HttpConnectionPool();
  HttpConnectionPool(const HttpConnectionPool&) = delete;
  HttpConnectionPool& operator=(const HttpConnectionPool&) = delete;
  ~HttpConnectionPool();

  /// The connection to exactly this host (text) and port that was released last, or a new one. Never null. It is the
  /// caller's until it is released. A new one has default parameters; whatever is set on it stays on it.
  HttpConnection* getHttpConnection(const string& host, unsigned short port);

  /// Gives a connection back; the pointer is not to be used afterwards. It is kept under the host and port of its last
  /// request, whatever it was borrowed for; one that made no request is destroyed, and so is one for which there is no
  /// memory to keep it. A null pointer is ignored.
  void releaseHttpConnection(HttpConnection* connection);

  /// How long a connection may stay idle; 10 seconds from the start. The milliseconds are counted in 32 bits: 4,294,968
  /// seconds wrap round to 704 ms.
  void setKeepOpenDurationSec(unsigned int seconds);

  /// How many idle connections are kept over all hosts together; 1 from the start, 0 counts as 1. The oldest go first,
  /// at once if need be.
  void setMaxPendingConnection(unsigned int count);
  /// The same, but never lowers it: for the users of a shared pool, each with the parallelism of its own.
  void ensureAtLeastMaxConcurrentConnection(unsigned int count);
  /// The limit in force.
  unsigned int getMaxConcurrentConnection() const noexcept;

 private:
  struct HttpConnectionPoolImpl;

  /// The updater's callback; `pool` is this.
  static void UpdatePool(void* pool);
  /// The expiry pass. The mutex is held by the caller.
  void updateConnectionPoolImpl();

  unique_ptr<HttpConnectionPoolImpl> mImpl;
};

}  // namespace qx::http
