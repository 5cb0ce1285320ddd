#pragma once

#include "netweft/http/HttpProxyFinder.h"
#include "netweft/http/internal/ProxyDiscovery.h"

namespace qx::http::impl {

/// Builds a finder on a discovery of the caller's choice, so that its decisions can be tested on any machine.
class HttpProxyFinderDoor {
 public:
  static HttpProxyFinder Create(unique_ptr<ProxyDiscovery> discovery) { return HttpProxyFinder(std::move(discovery)); }
};

}  // namespace qx::http::impl
