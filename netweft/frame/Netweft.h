#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/frame/Policies.h"

/// Start and stop of the library, and the process-wide defaults that a connection falls back on.
namespace qx {

/// Starts the library. To be called before any network class is used, and undone by one `terminateNetweft`. Calls
/// nest: only the outermost pair does the work, and the arguments of a nested call are discarded.
///
/// The arguments become the defaults, by the rules of the setters below.
///
/// Throws std::runtime_error ("qxNetweft : ssl versionning error") when libcurl does not stand on an OpenSSL of a
/// known generation. Nothing is rolled back then: the library counts as initialised, and `terminateNetweft` is
/// still what undoes the call.
///
/// The outermost call must have returned before another thread uses the library, and the outermost
/// `terminateNetweft` must not be called before the last object of the library is gone.
NETWEFT_EXPORT void initializeNetweft(bool verifySslCertByDefault, http::HostNameResolutionPolicy hostNameResolution,
                                      http::ProxyPolicy proxy);

/// Undoes one `initializeNetweft`. The outermost call resets the first two defaults to true and `HNRP_Whatever`; the
/// default proxy policy stays as it is. A call too many does nothing.
NETWEFT_EXPORT void terminateNetweft();

/// True from the first `initializeNetweft` on, also when it threw, until the last `terminateNetweft`. Any thread.
NETWEFT_EXPORT bool IsNetweftInitialized();

/// What `SVP_DefaultBehavior` means: true verifies peer and host. True from process start. Getters and setters work at
/// any time and on any thread, but a connection that is being set up meanwhile may see either value, and
/// `initializeNetweft` overwrites what was set before it.
NETWEFT_EXPORT bool IsVerifySSLCertByDefault();
NETWEFT_EXPORT void SetVerifySSLCertByDefault(bool verify);

/// What `HNRP_Default` means; `HNRP_Whatever` from process start. Anything but `HNRP_Whatever`, `HNRP_PreferIpv6` and
/// `HNRP_PreferIpv4` is kept as `HNRP_Whatever`.
NETWEFT_EXPORT http::HostNameResolutionPolicy GetDefaultHostNameResolutionPolicy();
NETWEFT_EXPORT void SetDefaultHostNameResolutionPolicy(http::HostNameResolutionPolicy policy);

/// What `PP_Default` means; `PP_NoProxy` from process start. Anything but `PP_NoProxy` and `PP_AutomaticProxy` is kept
/// as `PP_NoProxy`, without a report: `PP_ManualProxy` too, since a default has no proxy address to go with it.
NETWEFT_EXPORT http::ProxyPolicy GetDefaultProxyPolicy();
NETWEFT_EXPORT void SetDefaultProxyPolicy(http::ProxyPolicy policy);

}  // namespace qx
