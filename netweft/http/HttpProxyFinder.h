#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {
class Url;
}

namespace qx::http {

namespace impl {
class HttpProxyFinderDoor;
class ProxyDiscovery;
}  // namespace impl

/// Answers which proxy the system wants for a URL: WinHTTP's discovery on Windows, libproxy's elsewhere. Connections
/// ask it when their proxy policy resolves to `PP_AutomaticProxy`.
///
/// One finder belongs to one connection and serves one thread at a time; different finders may run at once. It keeps
/// the platform's session from the first look-up until it is destroyed, and caches no answer.
class NETWEFT_EXPORT HttpProxyFinder {
 public:
  /// Opens nothing and asks nobody.
  HttpProxyFinder();
  HttpProxyFinder(const HttpProxyFinder&) = delete;
  HttpProxyFinder& operator=(const HttpProxyFinder&) = delete;
  /// Closes the session.
  ~HttpProxyFinder();

  /// Empties `proxy`, then looks `url` up. True: there is an answer, and `proxy` holds it as libcurl takes it, empty
  /// for a direct connection. Where the system names several proxies the first is taken. False: there is no answer, and
  /// `proxy` is empty; the reason is on the log's channel "http", unless it is a network without discovery.
  ///
  /// Blocks for as long as discovery takes, which the time limits of a connection do not cover. Throws nothing but
  /// std::bad_alloc.
  bool getProxyUrl(const qx::Url& url, string& proxy);

 private:
  friend class impl::HttpProxyFinderDoor;
  struct HttpProxyFinderImpl;

  explicit HttpProxyFinder(unique_ptr<impl::ProxyDiscovery> discovery);

  unique_ptr<HttpProxyFinderImpl> mImpl;
};

}  // namespace qx::http
