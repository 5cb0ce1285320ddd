#pragma once

#include "netweft/base/system/qxTypes.h"

#include <optional>

namespace qx::http::impl {

/// How a session is opened, and what a look-up found. The numbers are WinHTTP's.
enum class ProxyAccessType : uint32 {
  DefaultProxy = 0,
  NoProxy = 1,
  NamedProxy = 3,
  AutomaticProxy = 4,
};

/// How discovery runs. The numbers are WinHTTP's: detect by network (1), through DHCP and DNS (3), answering a server's
/// challenge with the user's own credentials.
struct AutoProxyOptions {
  uint32 flags = 1;
  uint32 autoDetectFlags = 3;
  bool autoLogonIfChallenged = true;
};

/// What a look-up, or the machine's default configuration, says.
struct ProxyInfo {
  ProxyAccessType accessType = ProxyAccessType::DefaultProxy;
  std::optional<string> proxies;  ///< entries separated by ";" or blanks; no value where the platform gives no list
};

/// The platform's proxy discovery: a session, look-ups, and the error code of what failed last. Texts are UTF-8. One
/// thread at a time. Implementations throw nothing but std::bad_alloc; the destructor closes the session.
class ProxyDiscovery {
 public:
  virtual ~ProxyDiscovery() = default;

  virtual bool isSessionOpen() const = 0;
  /// False, with the session still closed, when the platform refuses; `getLastError` says why.
  virtual bool openSession(const string& userAgent, ProxyAccessType accessType) = 0;

  /// Needs an open session. False leaves `info` unspecified.
  virtual bool getProxyForUrl(const string& url, const AutoProxyOptions& options, ProxyInfo& info) = 0;

  /// The machine's default configuration. False leaves `info` unspecified.
  virtual bool getDefaultConfiguration(ProxyInfo& info) = 0;

  /// The system's code of the operation that failed last.
  virtual uint32 getLastError() const = 0;
};

/// The one of this platform.
unique_ptr<ProxyDiscovery> CreateProxyDiscovery();

}  // namespace qx::http::impl
